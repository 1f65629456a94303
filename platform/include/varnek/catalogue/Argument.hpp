/// One argument of a message, already as text.
#pragma once

#include "varnek/Export.hpp"

#include <concepts>
#include <filesystem>
#include <string>
#include <string_view>

namespace varnek::catalogue {

/// Made implicitly of UTF-8 and UTF-16 texts, paths and integers; integers are plain decimals without
/// grouping. Narrow texts and paths are taken byte by byte, so that the path in a message is the path on the
/// disk, whatever its encoding. In UTF-16 the surrogates U+DC80 to U+DCFF that stand for such bytes become
/// them again (varnek/files/PathText.hpp); other lone surrogates show as U+FFFD.
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

    /// UTF-8, unless made of bytes that are none.
    const std::string& text() const noexcept { return text_; }

  private:
    std::string text_;
};

} // namespace varnek::catalogue
