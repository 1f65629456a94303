/// The failure of converting between JSON and data arrays.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <cstdint>
#include <string>

namespace varnek::json {

/// Which rule a value breaks. Logged and compared across releases: never renumber.
enum class ConversionFailure : std::int32_t {
    numberRange = -9,  ///< a number that the class cannot hold, or not an exact integer where one is due
    encoding = -10,    ///< a string that is not Unicode text
    form = -11,        ///< members missing, unknown or of the wrong kind
    className = -13,   ///< no class of that name
    elementKind = -14, ///< an element of a kind that the class does not take, or elements of different kinds
    shape = -15, ///< nested arrays of different lengths or depths, rows of different lengths, too many levels
};

class VARNEK_EXPORT ConversionError : public exception::Cloneable<ConversionError, exception::Exception> {
  public:
    ConversionError(ConversionFailure failure, std::string detail, std::string path);
    ~ConversionError() override;

    ConversionFailure failure() const noexcept { return failure_; }
    /// The same as a number, for texts that show an error code.
    std::int32_t code() const noexcept { return static_cast<std::int32_t>(failure_); }
    /// What is wrong, without the place.
    const std::string& detail() const noexcept { return detail_; }
    /// The place in the document, as in ParseError.
    const std::string& path() const noexcept { return path_; }
    /// Detail and path.
    const char* what() const noexcept override { return text_.c_str(); }

  private:
    ConversionFailure failure_;
    std::string detail_;
    std::string path_;
    std::string text_;
};

} // namespace varnek::json
