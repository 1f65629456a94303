#include "settingscore/exception/MessageText.hpp"

#include "varnek/files/PathText.hpp"

namespace settings::core::exception::detail {

std::string utf8(std::u16string_view text) {
    return varnek::files::messageUtf8(text);
}

std::u16string utf16(std::string_view text) {
    return varnek::files::messageUtf16(text);
}

} // namespace settings::core::exception::detail
