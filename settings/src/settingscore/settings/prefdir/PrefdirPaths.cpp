#include "settingscore/settings/prefdir/PrefdirPaths.hpp"

#include "settingscore/exception/FileFailures.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/Folders.hpp"

#include <system_error>

namespace settings::core::detail {

using varnek::release::ReleaseLabel;

namespace {

constexpr std::string_view folderOfProduct = "Quillfern/VARNEK";

/// Nor separators at the end.
std::filesystem::path withoutDots(const std::filesystem::path& path) {
    std::filesystem::path result;
    for (const auto& part : path)
        if (!part.empty() && part != ".")
            result /= part;
    return result;
}

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
    path = withoutDots(path);
    if (path.filename() == "..") {
        std::error_code error;
        const auto resolved = std::filesystem::weakly_canonical(path, error);
        path = withoutDots(error ? path.lexically_normal() : resolved);
    }
    return path;
}

} // namespace settings::core::detail
