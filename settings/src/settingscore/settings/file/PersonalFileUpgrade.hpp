/// What happens to a personal file before its values are used: changes that later releases brought are
/// carried out on it. The keeper of level files calls it for files of level "user".
///
/// Thread-safe. The caller has the turn of the group's file and holds no lock.
#pragma once

#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace settings::core::detail {

class PersonalFileUpgrade {
  public:
    virtual ~PersonalFileUpgrade() = default;

    /// Brings the content of a group's file up to date, its version record included. True: values have
    /// changed, so that the file is to be saved. Raises std::bad_alloc only. May write the files of other
    /// groups.
    virtual bool upgrade(const NodePtr& group, const std::filesystem::path& file,
                         SettingsFileContent& content) = 0;

    /// The record of a file that is still to be made; nothing where there is none to keep.
    virtual std::optional<VersionRecord> recordOfNewFile(const NodePtr& group,
                                                         const std::filesystem::path& file) = 0;

    /// The file is about to be replaced. Raises nothing.
    virtual void aboutToReplace(const std::filesystem::path& file) = 0;

    /// The other groups whose files upgrades have written since the last call.
    virtual std::vector<std::string> takeWrittenGroups() = 0;
};

} // namespace settings::core::detail
