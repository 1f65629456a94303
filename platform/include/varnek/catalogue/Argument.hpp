/// One argument of a message, already as text.
#pragma once

#include "varnek/Export.hpp"

#include <concepts>
#include <filesystem>
#include <string>
#include <string_view>

namespace varnek::catalogue {

/// Made implicitly of UTF-8 and UTF-16 texts, paths and integers; integers are plain decimals without
/// grouping. What is not well-formed shows as U+FFFD.
class VARNEK_EXPORT Argument {
  public:
    Argument(std::string text) noexcept : text_(std::move(text)) {}
    Argument(std::string_view text) : text_(text) {}
    Argument(const char* text) : text_(text) {}
    Argument(std::u16string_view text);
    Argument(const std::u16string& text) : Argument(std::u16string_view(text)) {}
    Argument(const char16_t* text) : Argument(std::u16string_view(text)) {}
    Argument(const std::filesystem::path& path) : text_(path.native()) {}
    template <std::integral Number>
    requires(!std::same_as<Number, bool> && sizeof(Number) > 1) Argument(Number number)
        : text_(std::to_string(number)) {}

    /// UTF-8.
    const std::string& text() const noexcept { return text_; }

  private:
    std::string text_;
};

} // namespace varnek::catalogue
