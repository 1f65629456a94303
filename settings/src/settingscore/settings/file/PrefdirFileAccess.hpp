/// The save of one top-level group's file at one level.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/SettingsFileAccess.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

#include <functional>

namespace settings::core::detail {

/// What the file of `group` at the level of that name is to hold, given the file that is at `file` now;
/// nothing, and the outcome why, when it is to stay as it is. The owner of the level's files supplies it.
using FileWriterFunction =
    std::function<std::optional<std::string>(const NodePtr& group, const std::filesystem::path& file,
                                             std::string_view levelName, SaveOutcome& outcome)>;

/// The first save of a new user makes the folder. Failures are logged: then it is not writable.
/// VARNEK::settings::core::PreferenceDirectoryNotExist for the preferences directory, which is not made
/// again; SettingsUserDirectoryNotExist for a folder that "SETTINGS_USERDIR" names and that cannot be made.
void createMissingFolder(const std::filesystem::path& folder);

class PrefdirFileAccess : public SettingsFileAccess {
  public:
    /// `group` may be empty: nothing to save. `keepsMore`: the file holds something beyond the group's own
    /// values, so that it is written also when the group has none.
    PrefdirFileAccess(LevelIndex level, NodePtr group, std::filesystem::path filePath,
                      FileWriterFunction writer, bool keepsMore);

    /// False: the level cannot have a file; there is no group; the group has nothing to persist; the folder
    /// is not writable. CantModifyValuesOnReadOnlyLevel. A missing folder of the user level is created.
    bool checkBeforeSaving() override;
    std::optional<std::string> content() override;
    std::string description() const override;
    bool isPrefdirFile() const override { return true; }
    unsigned fileMode() const override;
    exception::ObjectHandle involvedObject() const override;

  private:
    bool hasSomethingToPersist() const;
    bool skip(SaveOutcome why);

    LevelIndex level_;
    NodePtr group_;
    FileWriterFunction writer_;
    bool keepsMore_;
};

} // namespace settings::core::detail
