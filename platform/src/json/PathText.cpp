#include "json/PathText.hpp"

#include "json/Quoting.hpp"

#include <algorithm>

namespace varnek::json::detail {

namespace {

bool isPlainCharacter(char character) noexcept {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '_' || character == '-';
}

} // namespace

void appendKey(std::string& path, std::string_view key) {
    if (!key.empty() && std::all_of(key.begin(), key.end(), isPlainCharacter)) {
        path += '.';
        path += key;
    } else {
        path += '[';
        appendQuotedLeniently(path, key);
        path += ']';
    }
}

void appendIndex(std::string& path, std::size_t index) {
    path += '[';
    path += std::to_string(index);
    path += ']';
}

} // namespace varnek::json::detail
