#include "settingscore/events/EventTypes.hpp"

#include <charconv>

namespace settings::core::detail {

namespace {

/// Room for both halves.
using IdentityDigits = std::array<char, 2 * (2 + 16)>;

std::string_view writeIdentity(const IdentityParts& identity, IdentityDigits& digits) {
    char* at = digits.data();
    for (const std::uint64_t part : identity) {
        if (part != 0) {
            *at++ = '0';
            *at++ = 'x';
        }
        at = std::to_chars(at, digits.data() + digits.size(), part, 16).ptr;
    }
    return {digits.data(), static_cast<std::size_t>(at - digits.data())};
}

} // namespace

std::string identityText(const IdentityParts& identity) {
    IdentityDigits digits;
    return std::string(writeIdentity(identity, digits));
}

std::u16string eventType(std::string_view eventClassName, const IdentityParts& identity) {
    IdentityDigits digits;
    const std::string_view text = writeIdentity(identity, digits);
    std::u16string type;
    type.reserve(eventClassName.size() + text.size());
    type.append(eventClassName.begin(), eventClassName.end()); // ASCII
    type.append(text.begin(), text.end());
    return type;
}

std::vector<std::u16string> eventTypes(std::string_view eventClassName, const IdentityParts& identity) {
    return {eventType(eventClassName, identity)};
}

} // namespace settings::core::detail
