/// The failure of reading a JSON value as another kind than it is.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace varnek::json {

enum class Kind : std::uint8_t { null, boolean, int64, uint64, float64, string, array, object };

/// "null", "a boolean", "a signed 64-bit integer", ... For messages.
VARNEK_EXPORT std::string_view kindText(Kind kind) noexcept;

/// "expected a string, found an array".
class VARNEK_EXPORT TypeError : public exception::Cloneable<TypeError, exception::Exception> {
  public:
    /// `expected` is what the caller asked for; "a number" and "a 64-bit integer" stand for several kinds.
    TypeError(std::string_view expected, Kind found);
    ~TypeError() override;

    const std::string& expected() const noexcept { return expected_; }
    Kind found() const noexcept { return found_; }
    const char* what() const noexcept override { return text_.c_str(); }

  private:
    std::string expected_;
    Kind found_;
    std::string text_;
};

} // namespace varnek::json
