#include "settingscore/events/EventTypes.hpp"

#include <ios>
#include <locale>
#include <sstream>

namespace settings::core::detail {

std::string identityText(const IdentityParts& identity) {
    std::ostringstream text;
    text.imbue(std::locale::classic()); // a host's locale would group the digits
    text << std::hex << std::showbase << identity[0] << identity[1];
    return std::move(text).str();
}

std::vector<std::u16string> eventTypes(std::string_view eventClassName, const IdentityParts& identity) {
    const std::string identityDigits = identityText(identity);
    std::u16string type(eventClassName.begin(), eventClassName.end()); // ASCII
    type.append(identityDigits.begin(), identityDigits.end());
    return {std::move(type)};
}

} // namespace settings::core::detail
