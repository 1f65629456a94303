/// One group of a settings file as JSON: its own members and its settings. Child groups stand in parts of
/// their own.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/FileFault.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/file/ValidatorJson.hpp"

#include <string>

namespace settings::core::detail {

/// What kind of file is read.
enum class FileUse : std::uint8_t {
    factory = 0,  ///< definitions: the only files whose functions count
    level = 1,    ///< values of one level of the tree
    imported = 2, ///< handed over by a user
};

/// Reads the groups of one file. Confined to one thread.
class GroupReader {
  public:
    explicit GroupReader(FileUse use) : use_(use) {}

    /// The group without its child groups; its name is empty when the JSON has none. Settings are sorted.
    /// ErrorReadingSettingsData. Functions in a file that is no factory file are left out; the first one is
    /// logged.
    GroupRecord read(const varnek::json::Object& json, const FilePlace& place);

  private:
    SettingRecord readSetting(const MemberReader& members);
    void readSettingDefinition(const MemberReader& members, SettingRecord& setting);
    NodeDefinition readDefinition(const MemberReader& members);
    void readFunctions(const MemberReader& members, NodeDefinition& definition);

    FileUse use_;
    bool warned_ = false;
};

/// `fullName` is the group's, from the top-level group down. What a file of this level does not define is
/// left out: functions beyond "factory", flags and validators of what a factory file defines.
varnek::json::Object writeGroup(const GroupRecord& group, const std::string& fullName, LevelIndex level);

/// One fault for each integer in plain JSON that would be another number as a double. (Of those beyond 64
/// bits only the text knows: the parser reads them as doubles.)
void reportInexactIntegers(const varnek::json::Value& plain, const std::string& path, const FaultSink& fault);

/// Whether a definition may give a node this name: valid UTF-8, not empty.
bool isReadableName(std::string_view name);

} // namespace settings::core::detail
