#include "settingscore/settings/prefdir/PrefdirPaths.hpp"

#include "settingscore/exception/FileFailures.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/Folders.hpp"

#include <algorithm>

namespace settings::core::detail {

using varnek::release::ReleaseLabel;

namespace {

constexpr std::string_view folderOfProduct = "Quillfern/VARNEK";

} // namespace

ReleaseLabel currentRelease() {
    return varnek::release::getCurrentVARNEKReleaseInfo().label;
}

ReleaseLabel previousRelease() {
    return currentRelease().previous();
}

ReleaseLabel oldestRelease() {
    return {2019, ReleaseLabel::Half::a};
}

std::filesystem::path standardSuffix(const ReleaseLabel& release) {
    return std::filesystem::path(folderOfProduct) / release.text();
}

std::filesystem::path standardDirectory(const ReleaseLabel& release) {
    return varnek::host::userConfigFolder() / standardSuffix(release);
}

std::filesystem::path previousDirectory(const std::filesystem::path& directory) {
    return directory.parent_path() / previousRelease().text();
}

std::filesystem::path absoluteDirectory(const std::u16string& given) {
    auto path = varnek::files::pathFromUtf16(given);
    if (!path.is_absolute())
        throw exception::RelativePreferencePathNotSupported(given);
    // ".." behind a link leads elsewhere than its text says.
    if (std::find(path.begin(), path.end(), "..") == path.end())
        path = path.lexically_normal();
    std::string text = path.native();
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    return text;
}

} // namespace settings::core::detail
