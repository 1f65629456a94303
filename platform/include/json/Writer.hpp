/// Writes JSON texts that the parser reads back to an equal value.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"
#include "json/Value.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace varnek::json {

/// What cannot be written. Logged: never renumber.
enum class WriteFailure : std::int32_t {
    tooLarge = -2,  ///< more bytes than maximumTextSize
    depth = -7,     ///< nested deeper than maximumDepth
    notFinite = -9, ///< NaN or an infinity, for which JSON has no form
    encoding = -10, ///< a string that is not generalised UTF-8, or half a surrogate pair in a key
};

VARNEK_EXPORT std::string_view failureText(WriteFailure failure) noexcept;

class VARNEK_EXPORT WriteError : public exception::Cloneable<WriteError, exception::Exception> {
  public:
    WriteError(WriteFailure failure, std::string path);
    ~WriteError() override;

    WriteFailure failure() const noexcept { return failure_; }
    /// The place in the document, as in ParseError.
    const std::string& path() const noexcept { return path_; }
    const char* what() const noexcept override { return text_.c_str(); }

  private:
    WriteFailure failure_;
    std::string path_;
    std::string text_;
};

/// One line without blanks, members in ascending byte order of their keys, so that equal values give equal
/// bytes. Numbers are as short as they can be read back exactly. Throws WriteError for what the parser would
/// refuse. Thread-safe.
VARNEK_EXPORT std::string write(const Value& value);
VARNEK_EXPORT std::string write(const Object& object);

/// For people: one member or element per line, two blanks per level, arrays of plain values on one line; ends
/// without a line break.
VARNEK_EXPORT std::string writeIndented(const Value& value);

} // namespace varnek::json
