#include "settingscore/settings/upgrade/KeptFile.hpp"

#include "opc/Limits.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/upgrade/UpgradeLog.hpp"
#include "varnek/files/FileReplacement.hpp"

#include <algorithm>

namespace settings::core::detail {

namespace {

constexpr const char* beforeMark = ".before-";

} // namespace

std::filesystem::path keptFileOf(const std::filesystem::path& file, const VersionLabel& release) {
    std::filesystem::path kept = file;
    kept += beforeMark + encodedName(release.utf8());
    return kept;
}

void keepBeforeUpgrade(const std::filesystem::path& file, const std::filesystem::path& kept) noexcept {
    try {
        std::error_code error;
        const std::filesystem::path behindLinks = std::filesystem::canonical(file, error);
        if (error || std::filesystem::exists(std::filesystem::symlink_status(kept)))
            return;
        std::filesystem::create_hard_link(behindLinks, kept, error);
        if (error && error != std::errc::file_exists) // a file system without links
            varnek::files::copyFile(behindLinks, kept, opc::limits::archiveBytes, {});
        VARNEK_LOG(upgradeLog, info) << "kept as it was before the upgrade: " << kept.string();
    } catch (...) {
        VARNEK_LOG(upgradeLog, warning) << "not kept as it was before the upgrade: " << file.string() << ": "
                                        << causeOfCurrentException();
    }
}

std::vector<KeptFile> keptFilesOf(const std::filesystem::path& file) {
    std::vector<KeptFile> kept;
    const std::string prefix = file.filename().string() + beforeMark;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path(), ignored)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(prefix) && entry.is_regular_file(ignored))
            kept.push_back({entry.path(), VersionLabel(decodedName(name.substr(prefix.size())))});
    }
    std::sort(kept.begin(), kept.end(), [](const KeptFile& a, const KeptFile& b) {
        return a.release == b.release ? a.path < b.path : a.release < b.release;
    });
    return kept;
}

} // namespace settings::core::detail
