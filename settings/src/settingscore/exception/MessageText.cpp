#include "settingscore/exception/MessageText.hpp"

#include <boost/locale/encoding_utf.hpp>

namespace settings::core::exception::detail {

using boost::locale::conv::utf_to_utf;

std::string utf8(std::u16string_view text) {
    return utf_to_utf<char>(text.data(), text.data() + text.size());
}

std::u16string utf16(std::string_view text) {
    return utf_to_utf<char16_t>(text.data(), text.data() + text.size());
}

} // namespace settings::core::exception::detail
