#include "settingscore/settings/root/ToolboxDefinition.hpp"

#include "opc/PackageError.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileFault.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/root/RootLog.hpp"

#include <stdexcept>

namespace settings::core::detail {

namespace {

using varnek::settings::FactoryGroup;
using varnek::settings::FactorySettingNode;
using Group = boost::shared_ptr<SettingsImpl>;

varnek::log::Channel warningsLog("settings::core::warnings");

/// What is wrong with the group that a definition makes. Logged: never renumber.
enum class InvalidJson : int { otherName = 3, otherVisibility = 4 };

ToolboxDefinition refused(InvalidJson kind, const VARNEKFactorySettingsDefinition& definition,
                          std::string detail) {
    VARNEK_LOG(warningsLog, warning) << "Invalid JSON, kind " << static_cast<int>(kind) << ": "
                                     << definition.getFile().string() << ": " << detail;
    return {{}, {}, std::move(detail)};
}

SettingsFileContent readFile(const std::string& group, const std::filesystem::path& file) {
    VARNEK_LOG(fileLog, info) << "Read settings file: " << file.string()
                              << " for level: " << levelName(LevelIndex::factory);
    try {
        SettingsFileContent content = readSettingsFile(file, FileUse::factory);
        if (content.tree.name != group)
            FilePlace{file, {}}.refuse(ReadError::name, {},
                                       "holds the definitions of \"" + content.tree.name + "\", not of \"" +
                                           group + "\"");
        return content;
    } catch (const opc::OpenError& failure) {
        throwNotOpened(failure, file);
    }
}

/// Moves what `later` defines beyond `first` into it.
void mergeDefinitions(const NodePtr& first, const NodePtr& later) {
    const std::vector<NodePtr> known = first->getChildren();
    for (const NodePtr& child : later->getChildren()) {
        const NodePtr there = childCalled(child->getName(), known);
        if (there == nullptr)
            first->adoptChildren({child});
        else if (!there->isLeafNode() && !child->isLeafNode())
            mergeDefinitions(there, child);
        else
            first->createFactorySetting(child->getName(), child->definition()); // refuses other kinds
    }
}

/// The nodes of a tree of their own as nodes of the process's trees.
Group plainTree(const FactoryGroup& group) {
    const auto handle = boost::const_pointer_cast<Settings>(group.getSettings());
    return buildTree(snapshotOf(SettingsAccess::node(*handle), LevelIndex::factory), LoadRules{});
}

/// The group itself, and below it what the description holds, node by node.
Group attached(const FactoryGroup& described) {
    const Group whole = plainTree(described);
    const Group group =
        SettingsImpl::makeGroup(NodeSpec::from(whole->getName(), whole->definition(), LevelIndex::factory));
    group->setAttributes(whole->attributes());
    const std::vector<NodePtr> nodes = whole->getChildren();
    for (const FactorySettingNode& node : described.getNodes()) {
        if (node.isGroup())
            VARNEK_LOG(rootLog, info) << "Add subgroups: " << node.getName();
        group->adoptChildren({childCalled(node.getName(), nodes)});
        if (node.isGroup())
            VARNEK_LOG(rootLog, info) << "Add subgroups to tree: " << node.getName();
    }
    return group;
}

} // namespace

ToolboxDefinition definitionOfFiles(const std::string& group,
                                    const std::vector<ToolboxSources::FactoryFile>& files, bool isVisible) {
    ToolboxDefinition definition;
    for (const ToolboxSources::FactoryFile& file : files) {
        try {
            SettingsFileContent content = readFile(group, file.path);
            content.tree.visible = content.tree.visible && isVisible;
            const Group read = buildTree(std::move(content.tree), LoadRules{});
            if (definition) {
                mergeDefinitions(definition.group, read);
                continue;
            }
            read->setFactoryFile(file.path.string());
            definition = {read, file.changes == nullptr ? std::move(content.upgraders) : *file.changes};
        } catch (const std::exception& failure) {
            VARNEK_LOG(fileLog, error) << "Cannot read settings factory file:" << file.path.string()
                                       << "Exception caught: " << failure.what();
            throw;
        }
    }
    return definition;
}

Group groupOfService(const FactorySettingsTracker::Service& service) {
    VARNEK_LOG(rootLog, info) << "Add toolbox: " << service.name << " wasVisible: " << service.isVisible;
    FactoryGroup described(service.name, {service.isVisible, false, {}, {}, {}, false, true, {}}, {},
                           FactoryGroup::Use::process);
    service.code->createFactorySettings(described);
    return attached(described);
}

ToolboxDefinition definitionOfService(const std::string& group,
                                      const FactorySettingsTracker::Service& service) {
    VARNEK_LOG(rootLog, info) << "Call C++ to create factory settings for " << group;
    return {groupOfService(service)};
}

ToolboxDefinition definitionOfCode(const VARNEKFactorySettingsDefinition& definition, bool isVisible) {
    const std::string& name = definition.getToolboxGroupName();
    VARNEK_LOG(rootLog, info) << "Call VARNEK to create factory settings for " << name;
    const auto made = definition.createFactorySettings();
    if (!made)
        return {};
    if (made->getName() != name)
        return refused(InvalidJson::otherName, definition,
                       "\"" + name + "\" is declared, the group is called \"" + made->getName() + "\"");
    const bool isMadeVisible = made->getProperties().getVisible();
    if (isMadeVisible != isVisible)
        return refused(InvalidJson::otherVisibility, definition,
                       "\"" + name + "\" is declared as " + (isVisible ? "visible" : "hidden") +
                           ", the group is " + (isMadeVisible ? "visible" : "hidden"));
    return {attached(*made)};
}

std::vector<LoadProblem> addGroupsOfServices(const NodePtr& group, const std::string& fullName,
                                             const FactorySettingsTracker& tracker) {
    std::vector<LoadProblem> problems;
    for (const FactorySettingsTracker::Service& service : tracker.servicesBelow(fullName)) {
        const std::string name = fullName + '.' + service.name;
        try {
            group->adoptChildren({groupOfService(service)});
        } catch (...) {
            std::string cause = causeOfCurrentException();
            VARNEK_LOG(rootLog, error) << "Exception caught: " << name << ": " << cause;
            problems.push_back({name, std::move(cause)});
        }
    }
    for (const NodePtr& child : group->getChildren())
        if (!child->isLeafNode())
            for (LoadProblem& problem :
                 addGroupsOfServices(child, fullName + '.' + child->getName(), tracker))
                problems.push_back(std::move(problem));
    return problems;
}

} // namespace settings::core::detail
