/// The built-in texts of all messages.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace varnek::catalogue {

struct EnglishText {
    std::string_view component;
    std::string_view key;
    std::string_view arguments; // what {0}, {1}, ... are, separated by ", "; for translators
    std::string_view text;      // UTF-8
};

/// Sorted by component and key, each pair once.
std::span<const EnglishText> englishTexts() noexcept;

/// Null when there is no such message.
const EnglishText* findEnglishText(std::string_view component, std::string_view key) noexcept;

} // namespace varnek::catalogue
