#include "Printable.hpp"

#include "varnek/files/PathText.hpp"

namespace vksettings {

std::string printable(std::string_view text) {
    std::string shown;
    for (;;) {
        const std::size_t end = text.find('"'); // harmless outside names
        shown += varnek::files::shownName(text.substr(0, end));
        if (end == std::string_view::npos)
            return shown;
        shown += '"';
        text.remove_prefix(end + 1);
    }
}

varnek::json::Value jsonText(std::string_view bytes) {
    return varnek::files::messageUtf16(bytes);
}

std::string counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

} // namespace vksettings
