// A factory file that comes into a tree in use.

#include "settingscore/Settings.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FactoryFileManagerImpl.hpp"
#include "settingscore/settings/file/FileFault.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "varnek/files/PathText.hpp"

#include <algorithm>
#include <stdexcept>

namespace settings::core::detail {

namespace {

boost::shared_ptr<SettingsRootStateMgr> treeOf(const SettingsNodeImpl& node) {
    const auto tree = node.treeContext();
    auto state = tree == nullptr ? nullptr : RootStates::instance().find(tree->rootIndex.index());
    if (state == nullptr || state->root->treeContext() != tree)
        throw VARNEK::settings::core::SettingsLibraryNotInitialized("registerFactoryFile");
    return state;
}

void requireFreeName(SettingsNodeImpl& root, const std::string& name) {
    for (const NodePtr& child : root.getChildren())
        if (sameButForCase(child->getName(), name))
            throw exception::ProductNodeAlreadyExisted(name, child->getName());
}

/// Personal files count the upgraders that they have been through.
bool extends(const std::vector<UpgraderRecord>& upgraders, const std::vector<UpgraderRecord>& released) {
    return upgraders.size() >= released.size() &&
           std::equal(released.begin(), released.end(), upgraders.begin());
}

} // namespace

void SettingsImpl::registerFactoryFile(const std::u16string& file, const std::u16string& folder,
                                       const std::vector<UpgraderRecord>& upgraders, bool force,
                                       std::string_view name) {
    const auto tree = treeOf(*this);
    const auto path = varnek::files::pathFromUtf16(folder) / varnek::files::pathFromUtf16(file);
    if (!path.is_absolute())
        throw std::invalid_argument("the path of a factory file has to be absolute: " + path.string());
    const auto manager = SettingsFileManagerImpl::open(path, LevelIndex::factory, force, name);
    const std::string group = manager->topLevelNode()->getName();
    requireFreeName(*tree->root, group);
    auto& factory = dynamic_cast<FactoryFileManagerImpl&>(*manager);
    if (!upgraders.empty() && upgraders != factory.upgraders()) {
        if (!extends(upgraders, factory.upgraders()))
            throw std::invalid_argument("released upgraders are never changed: " + path.string());
        factory.setUpgraders(upgraders);
        factory.save(path);
    }
    ToolboxSources::FactoryFile entry{path, false};
    if (!isSettingsSavingTurnedOn()) // the file does not say what it is given
        entry.changes = std::make_shared<const std::vector<UpgraderRecord>>(factory.upgraders());
    tree->toolboxes->sources().setFactoryFiles(group, {std::move(entry)},
                                               factory.topLevelNode()->isVisible());
    tree->toolboxes->add(group);
}

} // namespace settings::core::detail
