#include "settingscore/settings/file/NameText.hpp"

#include "opc/PartName.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/PathText.hpp"

namespace settings::core::detail {

namespace {

constexpr char hexMark = '~'; // never in an encoded name
constexpr std::string_view hexDigits = "0123456789ABCDEF";

/// `convert` for the pieces between NULs, which paths cannot hold.
template <class Result, class View, class Convert>
Result withoutNul(View text, Convert convert) {
    Result result;
    for (;;) {
        const std::size_t end = text.find(typename View::value_type{});
        result += convert(text.substr(0, end));
        if (end == View::npos)
            return result;
        result += typename Result::value_type{};
        text.remove_prefix(end + 1);
    }
}

} // namespace

varnek::json::Value nameToJson(std::string_view name) {
    if (varnek::files::isUtf8(name))
        return name;
    return withoutNul<std::u16string>(name, [](std::string_view piece) {
        return varnek::files::utf16FromPath(std::filesystem::path(piece));
    });
}

std::optional<std::string> nameFromJson(const varnek::json::Value& string) {
    const std::string_view text = string.asString();
    if (text.empty())
        return std::nullopt;
    if (varnek::files::isUtf8(text))
        return std::string(text);
    try {
        const std::u16string units = string.asUtf16();
        return withoutNul<std::string>(std::u16string_view(units), [](std::u16string_view piece) {
            return varnek::files::pathFromUtf16(piece).string();
        });
    } catch (const varnek::files::FileError&) { // other lone surrogates
        return std::nullopt;
    }
}

std::u16string folderNameOf(std::string_view groupName) {
    std::string folder = encodedName(groupName);
    if (!opc::isSafePartName(u"/" + std::u16string(folder.begin(), folder.end()))) {
        folder = hexMark;
        for (const char c : groupName) {
            folder += hexDigits[static_cast<unsigned char>(c) >> 4];
            folder += hexDigits[static_cast<unsigned char>(c) & 15];
        }
    }
    return {folder.begin(), folder.end()};
}

std::string groupOfFolder(std::string_view folderName) {
    if (!folderName.starts_with(hexMark))
        return decodedName(folderName);
    std::string escaped;
    for (std::size_t at = 1; at < folderName.size(); at += 2)
        escaped.append("%").append(folderName.substr(at, 2));
    return decodedName(escaped);
}

} // namespace settings::core::detail
