/// What the definitions of one toolbox's group say, as a group outside every tree.
#pragma once

#include "settingscore/settings/root/FactorySettingsTracker.hpp"
#include "settingscore/settings/root/ToolboxSources.hpp"
#include "settingscore/settings/settingsImpl.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace settings::core::detail {

struct ToolboxDefinition {
    boost::shared_ptr<SettingsImpl> group; // null: there is none
    std::vector<UpgraderRecord> changes{}; // that personal files go through
    std::string refusal{};                 // why there is none, when there ought to be

    explicit operator bool() const noexcept { return group != nullptr; }
};

// Functions block, and run foreign code, without locks; they raise what reading a file or that code raises.

/// The files' definitions, one after the other: a setting that is defined again keeps its first definition,
/// as MSettings::createFactorySetting has it. The changes are those of the first file. `isVisible` false
/// hides the group whatever the file says.
ToolboxDefinition definitionOfFiles(const std::string& group,
                                    const std::vector<ToolboxSources::FactoryFile>& files, bool isVisible);
ToolboxDefinition definitionOfService(const std::string& group,
                                      const FactorySettingsTracker::Service& service);
/// None, with a warning and a refusal, when the code makes a group of another name or visibility.
ToolboxDefinition definitionOfCode(const VARNEKFactorySettingsDefinition& definition, bool isVisible);

/// Adds the groups that services supply below `group` and the groups in it; `fullName` is that of `group`.
/// What a service throws is logged and told by the result: the others are there.
std::vector<LoadProblem> addGroupsOfServices(const NodePtr& group, const std::string& fullName,
                                             const FactorySettingsTracker& tracker);
/// The group of one such service.
boost::shared_ptr<SettingsImpl> groupOfService(const FactorySettingsTracker::Service& service);

} // namespace settings::core::detail
