#include "cppmicroservices/AnyMap.h"

#include <algorithm>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace {

constexpr unsigned char lowerCase(char c) noexcept {
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

} // namespace

bool any_map::KeyOrder::operator()(const std::string& a, const std::string& b) const noexcept {
    return ignoreCase ? std::ranges::lexicographical_compare(a, b, {}, lowerCase, lowerCase) : a < b;
}

any_map::any_map(map_type type) : type_(type), map_(KeyOrder{type == UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {}

any_map::any_map(map_type type, std::initializer_list<value_type> values) : any_map(type) {
    map_.insert(values);
}

any_map::any_map(const ordered_any_map& values) : any_map(ORDERED_MAP) {
    map_.insert(values.begin(), values.end());
}

any_map::any_map(const unordered_any_map& values) : any_map(UNORDERED_MAP) {
    map_.insert(values.begin(), values.end());
}

} // namespace varnek_platform
} // namespace cppmicroservices
