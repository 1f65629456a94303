#include "settingscore/settings/upgrade/KeptFile.hpp"

#include "opc/Limits.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/upgrade/UpgradeLog.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileReplacement.hpp"

#include <algorithm>
#include <charconv>
#include <tuple>

namespace settings::core::detail {

namespace {

constexpr const char* beforeMark = ".before-";

std::filesystem::path numbered(std::filesystem::path first, unsigned number) {
    if (number > 1)
        first += "-" + std::to_string(number);
    return first;
}

/// From "R2025a" or "R2025a-2".
KeptFile keptFileFrom(const std::filesystem::path& path, const std::string& text) {
    const std::size_t dash = text.rfind('-');
    unsigned number = 1;
    if (dash != std::string::npos) {
        const char* const end = text.data() + text.size();
        const auto read = std::from_chars(text.data() + dash + 1, end, number);
        if (read.ec == std::errc() && read.ptr == end && number > 1)
            return {path, VersionLabel(decodedName(text.substr(0, dash))), number};
    }
    return {path, VersionLabel(decodedName(text)), 1};
}

bool isSame(const std::filesystem::path& a, const std::filesystem::path& b) {
    using varnek::files::readFile;
    return readFile(a, opc::limits::archiveBytes) == readFile(b, opc::limits::archiveBytes);
}

/// Where the file is to be kept; empty when it is kept already.
std::filesystem::path placeToKeep(const std::filesystem::path& file, const VersionLabel& release) {
    const std::filesystem::path first = keptFileOf(file, release);
    std::filesystem::path newest;
    for (unsigned number = 1;; ++number) {
        std::filesystem::path place = numbered(first, number);
        if (!std::filesystem::exists(std::filesystem::symlink_status(place)))
            return !newest.empty() && isSame(newest, file) ? std::filesystem::path() : place;
        newest = std::move(place);
    }
}

} // namespace

std::filesystem::path keptFileOf(const std::filesystem::path& file, const VersionLabel& release) {
    std::filesystem::path kept = file;
    kept += beforeMark + encodedName(release.utf8());
    return kept;
}

void keepBeforeUpgrade(const std::filesystem::path& file, const VersionLabel& release) noexcept {
    try {
        std::error_code error;
        const std::filesystem::path behindLinks = std::filesystem::canonical(file, error);
        if (error)
            return; // there is nothing
        const std::filesystem::path kept = placeToKeep(file, release);
        if (kept.empty())
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
            kept.push_back(keptFileFrom(entry.path(), name.substr(prefix.size())));
    }
    std::sort(kept.begin(), kept.end(), [](const KeptFile& a, const KeptFile& b) {
        return a.release == b.release ? std::tie(a.number, a.path) < std::tie(b.number, b.path)
                                      : a.release < b.release;
    });
    return kept;
}

} // namespace settings::core::detail
