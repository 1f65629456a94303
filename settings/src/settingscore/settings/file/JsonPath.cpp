#include "settingscore/settings/file/JsonPath.hpp"

#include "json/Writer.hpp"

#include <algorithm>

namespace settings::core::detail {

std::string memberPath(std::string_view path, std::string_view key) {
    const auto isPlain = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
               c == '-';
    };
    std::string result(path);
    if (!key.empty() && std::all_of(key.begin(), key.end(), isPlain))
        return result.append(".").append(key);
    return result.append("[").append(varnek::json::write(varnek::json::Value(key))).append("]");
}

std::string elementPath(std::string_view path, std::size_t index) {
    return std::string(path).append("[").append(std::to_string(index)).append("]");
}

} // namespace settings::core::detail
