/// The folders of the levels of one tree, where they differ from those of the process.
///
/// Thread-safe. The lock of this file (rank "level functions") is not held while a folder is found.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/level/RootIndex.hpp"

#include <optional>
#include <string>

namespace settings::core::detail {

/// A folder that is there stands in place of the process's; an empty text gives the process's back.
struct TreeFolders {
    std::optional<std::u16string> factory{};
    std::optional<std::u16string> installation{};
    std::optional<std::u16string> user{};
    std::optional<std::u16string> workgroup{};
};

/// For the tree of that index, whether it is there or not. What is left out stays as it is.
/// std::invalid_argument for an index that names no tree.
void setTreeFolders(const RootIndex& tree, const TreeFolders& folders);

/// The folder of the tree's level; that of the process where none is set. As SettingsLevel::levelRootPath().
std::u16string levelFolder(const RootIndex& tree, LevelIndex level);
/// The same for the workgroup folder, which belongs to no level.
std::u16string workgroupFolder(const RootIndex& tree);

} // namespace settings::core::detail
