#include "settingscore/settings/root/TreeBuilder.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/file/prefdirWriter.hpp"
#include "settingscore/settings/level/TreeFolders.hpp"
#include "settingscore/settings/root/SettingsRenamesFile.hpp"
#include "settingscore/settings/upgrade/UserSettingsUpgrade.hpp"
#include "varnek/files/PathText.hpp"

#include <boost/make_shared.hpp>

namespace settings::core::detail {

namespace {

class Builder {
  public:
    Builder(boost::shared_ptr<SettingsRootStateMgr> empty, std::filesystem::path factoryFolder)
        : factoryFolder_(std::move(factoryFolder)), tree_{std::move(empty), {}} {}

    BuiltTree build() {
        if (!factoryFolder_.empty()) {
            takeRenames();
            for (const FactoryFileLocation& location : readFactoryFileLocations(factoryFolder_))
                addGroup(location);
        }
        LevelFileKeeper& files = *tree_.state->files;
        // After all of them are there: personal values may move from one group to another.
        for (const NodePtr& group : groups_)
            for (const LevelIndex level : {LevelIndex::installation, LevelIndex::user})
                files.loadLevel(group, level, LevelFileKeeper::Telling::no);
        for (const NodePtr& group : files.loadAddedGroups(tree_.state->root, LevelIndex::installation))
            files.loadLevel(group, LevelIndex::user, LevelFileKeeper::Telling::no);
        files.loadAddedGroups(tree_.state->root, LevelIndex::user);
        for (const LevelFileStatus& status : tree_.state->files->allStatuses())
            if (status.loaded == LoadOutcome::damaged || status.loaded == LoadOutcome::unreadable)
                report(status.file, status.loadMessage);
        return std::move(tree_);
    }

  private:
    void takeRenames() {
        try {
            if (auto rows = readSettingsRenames(factoryFolder_))
                setSettingsRenames(std::move(*rows));
        } catch (const std::exception& failure) {
            report(renamesFileOf(factoryFolder_), failure.what());
        }
    }

    void addGroup(const FactoryFileLocation& location) {
        const auto file = factoryFolder_ / location.factoryFile;
        std::vector<UpgraderRecord> changes;
        try {
            const NodePtr group = readGroup(location, file, changes);
            tree_.state->root->adoptChildren({group});
            tree_.state->upgrade->setFactoryChanges(group->getName(), std::move(changes));
            groups_.push_back(group);
        } catch (const std::exception& failure) {
            VARNEK_LOG(fileLog, error) << "Cannot read settings factory file:" << file.string()
                                       << "Exception caught: " << failure.what();
            report(file, failure.what());
            tree_.state->upgrade->setUnreadable(location.toolboxGroupName);
        }
    }

    static NodePtr readGroup(const FactoryFileLocation& location, const std::filesystem::path& file,
                             std::vector<UpgraderRecord>& changes) {
        VARNEK_LOG(fileLog, info) << "Read settings file: " << file.string()
                                  << " for level: " << levelName(LevelIndex::factory);
        SettingsFileContent content = readSettingsFile(file, FileUse::factory);
        if (content.tree.name != location.toolboxGroupName)
            throw std::runtime_error("the location file names the group \"" + location.toolboxGroupName +
                                     "\", the factory file \"" + content.tree.name + "\"");
        if (location.hidden)
            content.tree.visible = false;
        auto group = detail::buildTree(std::move(content.tree), LoadRules{});
        group->setFactoryFile(file.string());
        changes = std::move(content.upgraders);
        return group;
    }

    void report(const std::filesystem::path& file, std::string message) {
        tree_.problems.push_back({file.string(), std::move(message)});
    }

    const std::filesystem::path factoryFolder_;
    BuiltTree tree_;
    std::vector<NodePtr> groups_; // with factory definitions
};

} // namespace

boost::shared_ptr<SettingsRootStateMgr> emptyTree(const RootIndex& index,
                                                  const boost::shared_ptr<EventDelivery>& events) {
    auto state = boost::make_shared<SettingsRootStateMgr>();
    state->files = boost::make_shared<LevelFileKeeper>(
        [index](LevelIndex level) { return varnek::files::pathFromUtf16(levelFolder(index, level)); },
        &prefdirWriter);
    state->upgrade = std::make_shared<UserSettingsUpgrade>();
    state->files->setUpgrade(state->upgrade);
    TreeContext context;
    context.rootIndex = index;
    context.connected = true;
    context.saves = state->files;
    context.events = events;
    state->root = SettingsImplRoot::make(std::move(context));
    return state;
}

BuiltTree buildTree(const RootIndex& index, const std::filesystem::path& factoryFolder,
                    const boost::shared_ptr<EventDelivery>& events) {
    return Builder(emptyTree(index, events), factoryFolder).build();
}

} // namespace settings::core::detail
