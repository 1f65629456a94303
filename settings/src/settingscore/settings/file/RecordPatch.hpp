/// The changes of one side, put on top of what another side has made of the same file.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"

namespace settings::core::detail {

/// `theirs` with every change that leads from `base` to `ours`: settings and groups that came, went or became
/// something else. What did not change here is as it is there; where both sides changed one setting, it is as
/// it is here. A group that went here stays as long as there is something in it that came there.
///
/// Thread-safe.
GroupRecord patched(GroupRecord theirs, const GroupRecord& base, const GroupRecord& ours, LevelIndex level);

/// Whether a file of `level` says the same of both. Thread-safe.
bool isSame(const GroupRecord& a, const GroupRecord& b, LevelIndex level);

} // namespace settings::core::detail
