/// What happens to a personal file before its values are used: changes that later releases brought are
/// carried out on it. The keeper of level files calls it for files of level "user".
///
/// Thread-safe. The caller has the turn of the group's file and holds no lock.
#pragma once

#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace settings::core::detail {

/// What came of bringing the content of a file up to date.
enum class Upgraded : std::uint8_t {
    nothing = 0, // its values are as they were
    values = 1,  // they have changed, so that the file is to be saved
    files = 2,   // the file itself is another one, and so may others be: it is to be read again
    tooNew = 3,  // it has followed changes that are not known here: its values may stand elsewhere
};

class PersonalFileUpgrade {
  public:
    virtual ~PersonalFileUpgrade() = default;

    /// Before a file of the folder is read or saved: replaces those that an upgrade which came to its end
    /// before its time has left to be replaced. Returns why the file of `group` must not be saved, because
    /// its own cannot be replaced now; nothing when it may. Raises std::bad_alloc only.
    virtual std::optional<std::string> finishInterrupted(const std::filesystem::path& folder,
                                                         const std::string& group) = 0;

    /// Brings the content of a group's file up to date, its version record included. Raises std::bad_alloc
    /// only. Replaces the file, together with those of other groups, when values move there.
    virtual Upgraded upgrade(const NodePtr& group, const std::filesystem::path& file,
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
