/// The failure of reading a JSON text.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace varnek::json {

/// Why a text was refused. Logged and compared across releases: never renumber.
enum class ParseFailure : std::int32_t {
    tooLarge = -2,     ///< more bytes than maximumTextSize
    syntax = -6,       ///< anything that has no kind of its own
    depth = -7,        ///< nested deeper than maximumDepth
    duplicateKey = -8, ///< an object with two members of one key
    numberRange = -9,  ///< a number beyond the range of double
    encoding = -10, ///< not UTF-8, a byte-order mark, or half a surrogate pair in a key; told apart in words
    objectStart = -20,     ///< an object was due, and the text does not begin with "{"
    memberSeparator = -21, ///< a member followed by neither "," nor "}"
    earlyEnd = -22,        ///< the text ends before the value does
    trailingText = -23,    ///< something other than white space follows the value
};

/// The rule that was broken, in words.
VARNEK_EXPORT std::string_view failureText(ParseFailure failure) noexcept;

/// "a key stands twice in one object, at byte 7 ($.settings[2].name)".
class VARNEK_EXPORT ParseError : public exception::Cloneable<ParseError, exception::Exception> {
  public:
    /// `words` take the place of the rule where they say more.
    ParseError(ParseFailure failure, std::size_t offset, std::string path, std::string_view words = {});
    ~ParseError() override;

    ParseFailure failure() const noexcept { return failure_; }
    /// Number of bytes before the place where reading stopped.
    std::size_t offset() const noexcept { return offset_; }
    /// The place in the document, "$" being the whole: "$.settings[2].name", "$["a key"][0]".
    const std::string& path() const noexcept { return path_; }
    const char* what() const noexcept override { return text_.c_str(); }

  private:
    ParseFailure failure_;
    std::size_t offset_;
    std::string path_;
    std::string text_;
};

} // namespace varnek::json
