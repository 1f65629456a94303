#include "settingscore/settings/level/TreeFolders.hpp"

#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"

#include <map>
#include <mutex>
#include <stdexcept>

namespace settings::core::detail {

namespace {

using Folder = std::optional<std::u16string>;

/// Never destroyed: threads may still ask for a folder while the process ends.
struct Overrides {
    std::mutex mutex; // rank "level functions"
    std::map<std::int32_t, TreeFolders> folders;
};

Overrides& overrides() {
    static auto* const instance = new Overrides;
    return *instance;
}

void replace(Folder& folder, const Folder& by) {
    if (by)
        folder = by->empty() ? Folder() : by;
}

Folder folderOf(const RootIndex& tree, Folder TreeFolders::*which) {
    if (!tree.namesTree())
        return {};
    const std::lock_guard lock(overrides().mutex);
    const auto found = overrides().folders.find(tree.index());
    return found == overrides().folders.end() ? Folder() : found->second.*which;
}

Folder folderOf(const RootIndex& tree, LevelIndex level) {
    switch (level) {
    case LevelIndex::user:
        return folderOf(tree, &TreeFolders::user);
    case LevelIndex::installation:
        return folderOf(tree, &TreeFolders::installation);
    case LevelIndex::factory:
        return folderOf(tree, &TreeFolders::factory);
    case LevelIndex::session:
        break; // in memory only
    }
    return {};
}

} // namespace

void setTreeFolders(const RootIndex& tree, const TreeFolders& folders) {
    if (!tree.namesTree())
        throw std::invalid_argument("folders for no settings tree");
    const std::lock_guard lock(overrides().mutex);
    TreeFolders next = overrides().folders[tree.index()];
    replace(next.factory, folders.factory);
    replace(next.installation, folders.installation);
    replace(next.user, folders.user);
    replace(next.workgroup, folders.workgroup);
    overrides().folders[tree.index()] = std::move(next);
}

std::u16string levelFolder(const RootIndex& tree, LevelIndex level) {
    if (Folder own = folderOf(tree, level))
        return *std::move(own);
    return SettingsLevelManager::getSettingsLevelObjs()[position(level)].levelRootPath();
}

std::u16string workgroupFolder(const RootIndex& tree) {
    if (Folder own = folderOf(tree, &TreeFolders::workgroup))
        return *std::move(own);
    return workgroupFolder();
}

} // namespace settings::core::detail
