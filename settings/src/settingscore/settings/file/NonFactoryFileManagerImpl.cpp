#include "settingscore/settings/file/NonFactoryFileManagerImpl.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/file/WritePermission.hpp"
#include "settingscore/settings/node/SettingsImplForFileManager.hpp"
#include "varnek/files/PathText.hpp"

#include <stdexcept>
#include <utility>

namespace settings::core::detail {

namespace {

boost::shared_ptr<SettingsImpl> makeNode(NodeSpec spec, bool isGroup, LevelIndex level) {
    return isGroup ? SettingsImplForFileManager::makeGroup(std::move(spec), level)
                   : SettingsImplForFileManager::makeSetting(std::move(spec), level);
}

/// Whether names mean the same in both files.
bool isAsFar(const std::optional<VersionRecord>& one, const std::optional<VersionRecord>& other) {
    const auto position = [](const std::optional<VersionRecord>& record) {
        return record ? std::pair(record->upgraderIndex, record->changeIndex)
                      : std::pair<std::uint64_t, std::uint64_t>();
    };
    return position(one) == position(other);
}

/// The subtree without values. An alias stands for itself: whoever stores in it has followed it.
NodePtr definedAs(const SettingsNodeImpl& node, LevelIndex level) {
    FactorySettingProperties definition = node.definition();
    definition.setAliasName({});
    const NodePtr copy =
        makeNode(NodeSpec::from(node.getName(), definition, node.originLevel()), !node.isLeafNode(), level);
    std::vector<NodePtr> children;
    for (const ConstNodePtr& child : node.getChildren())
        if (child->originLevel() != level && child->originLevel() != LevelIndex::session)
            children.push_back(definedAs(*child, level)); // what was added on the level comes from the file
    if (!children.empty())
        copy->adoptChildren(std::move(children));
    return copy;
}

} // namespace

NonFactoryFileManagerImpl::NonFactoryFileManagerImpl(NodePtr topLevelNode, LevelIndex level,
                                                     std::optional<VersionRecord> version)
    : SettingsFileManagerImpl(std::move(topLevelNode), level), levelName_(settings::core::levelName(level)),
      version_(std::move(version)) {}

std::string NonFactoryFileManagerImpl::releaseVersion() const {
    return version_ && !version_->releaseVersion.empty() ? version_->releaseVersion : recordedRelease();
}

void NonFactoryFileManagerImpl::save(const std::filesystem::path& file) {
    if (!isSettingsSavingTurnedOn())
        return;
    if (!mayBeWritten(file))
        throw exception::NoFileWritePermission(
            topHandle(), SettingsLevelManager::getSettingsLevelObjs()[position(level())],
            {varnek::files::utf16FromPath(file)});
    std::optional<VersionRecord> written;
    writeTree(file, [&](SettingsFileContent& content, const SettingsFileContent* present, bool hasChanged) {
        if (present != nullptr && hasChanged && !isNew() && !isAsFar(present->version, version_))
            throwNotWritten(file, "it has followed changes between releases since it was opened");
        content.version = present != nullptr ? present->version : version_;
        written = content.version;
    });
    version_ = std::move(written);
}

void NonFactoryFileManagerImpl::define(const ConstNodePtr& group) {
    if (group->isLeafNode())
        throw exception::NotANodeName(group->getThisObjectImpl(), group->getName());
    if (group->getName() != top()->getName())
        throw std::invalid_argument("the file holds the settings of \"" + top()->getName() + "\", not of \"" +
                                    group->getName() + "\"");
    const NodePtr defined = definedAs(*group, level());
    const LoadRules rules{.level = level(), .makeNode = [at = level()](NodeSpec spec, bool isGroup) {
                              return makeNode(std::move(spec), isGroup, at);
                          }};
    GroupRecord rest = loadIntoTree(snapshot(), defined, rules);
    replaceTree(defined, std::move(rest));
}

} // namespace settings::core::detail
