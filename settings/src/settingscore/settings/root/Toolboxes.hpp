/// The toolbox groups of one tree: declared while the tree is built, loaded when they are needed, defined
/// anew when their definitions change.
///
/// Thread-safe. Two locks: creation_ ("TopLevelNodeServiceCreation", rank "top-level node creation") while a
/// group is put below the root or taken away, and that of ToolboxSources. Loaders, services, files and
/// listeners are called without either.
#pragma once

#include "settingscore/root/ToolboxGroups.hpp"
#include "settingscore/settings/root/DeclaredGroup.hpp"
#include "settingscore/settings/root/FactorySettingsTracker.hpp"
#include "settingscore/settings/root/LoadProblems.hpp"
#include "settingscore/settings/root/ToolboxDefinition.hpp"
#include "settingscore/settings/root/ToolboxSources.hpp"

#include <boost/weak_ptr.hpp>

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace settings::core::detail {

class LevelFileKeeper;
struct LevelFileStatus;
class SettingsImplRoot;
class UserSettingsUpgrade;

class Toolboxes : public GroupLoader, public std::enable_shared_from_this<Toolboxes> {
  public:
    Toolboxes(boost::shared_ptr<LevelFileKeeper> files, std::shared_ptr<UserSettingsUpgrade> upgrade,
              const boost::shared_ptr<SettingsImplRoot>& root);
    ~Toolboxes() override;

    /// Gathers what is declared and puts a group for each of it below the root. MalformedLocationFile, and
    /// what reading the location file raises.
    void build(const std::filesystem::path& factoryFolder);
    /// Has build() been through? A tree that was made empty takes no groups from services.
    bool isBuilt() const noexcept { return isBuilt_.load(std::memory_order_acquire); }
    /// The services and loaders that came since build() began, before the tree could be found. What goes
    /// wrong with one is noted.
    void takeServices();

    /// A source of a top-level group has appeared. Listeners hear of a group that is new.
    void add(const std::string& name);
    /// A declared group is below the root as long as it has a source, and is seen as that one says; a group
    /// that has been loaded stays as it is. Listeners hear of it.
    void follow(const std::string& name);
    void addLoader(const ToolboxSources::Loader& loader);
    /// The same for a group in another one; nothing when that one is not loaded or not there, or has it
    /// already.
    void addSubgroup(const FactorySettingsTracker::Service& service);
    /// Says so when a group is declared and nothing defines it.
    void logMissing(const std::string& name) const;
    /// follow(), for all that are declared.
    void lookForSources();

    /// Reads the definitions anew, for the log as part of `operation`; those of a group that nobody has
    /// needed are read when somebody needs it. CantReloadFactoryFile when there are none; what reading them
    /// raises, and then nothing has changed. A problem is noted, and nothing has changed, where they make no
    /// such group, or a group of that name was added.
    void reload(const std::string& name, const char* operation);
    /// Other factory files for a group, or other code; back to those before when they cannot be read. A
    /// service stays in force over both; std::invalid_argument for code in the place of files.
    void useFiles(const std::string& name, const std::vector<std::filesystem::path>& files, bool isVisible);
    void useDefinition(const ToolboxSources::Definition& definition);

    /// The group of this process of that name, also where one of another process stands in its place; empty
    /// when there is none.
    NodePtr localGroup(const std::string& name) const;
    /// Puts the node of a group of another process below the root, in the place of the group of this process
    /// of that name, which is kept and returned. Does not take what the saves of that group wait for.
    /// ErrorAddingTopLevelNode for a name that differs from another one by case only.
    NodePtr attachRemote(const NodePtr& remote, LateEvents& events);
    /// Takes it out again; what it replaced is back, and is returned. Nothing for a node that is not there.
    NodePtr detachRemote(const NodePtr& remote, LateEvents& events);
    /// The personal file of a group that is about to be replaced holds what was changed. Blocks on the disk.
    void awaitSaves(const std::string& name);
    /// What has changed in the files while the group was away, and what was changed in it, come together.
    /// Blocks on the disk.
    void isBack(const NodePtr& group);

    ToolboxSources& sources() noexcept { return sources_; }
    LoadProblems& problems() noexcept { return problems_; }
    /// What came of reading a group's file, in the place of what was noted of it before.
    void noteFile(const LevelFileStatus& file);
    std::vector<ToolboxGroup> list() const;

    /// What personal files of the group go through; nothing for a group without definitions, null where they
    /// cannot be read now. The group need not be loaded.
    std::optional<FactoryChanges> changesOf(const std::string& name) const;

    boost::shared_ptr<SettingsImpl> load(DeclaredGroup& group) override;
    void dropped(DeclaredGroup& group) noexcept override;
    void loaded(DeclaredGroup& group) noexcept override;

  private:
    /// Placeholders for declared groups: below the root, or kept until they have a source.
    void addDummyNodes(const std::vector<std::string>& names);
    NodePtr addDummyNode(const std::string& name, const NodePtr& parent);
    /// As follow(). Without events, of a tree that is being built, a group without a source stays.
    void place(const std::string& name, LateEvents* events);
    void place(const std::string& name, bool hasSource, LateEvents* events);
    /// Why a group is not below the root, for the log and for who asks; empty when there is nothing to say.
    struct Refusal {
        std::string line{};
        std::string cause{};
    };
    Refusal placeNow(const std::string& name, bool hasSource, bool isShown, LateEvents* events);
    /// creation_ is held.
    void putBelowRoot(const boost::shared_ptr<SettingsImplRoot>& root,
                      const boost::shared_ptr<DeclaredGroup>& group, LateEvents* events);
    void takeAway(const boost::shared_ptr<SettingsImplRoot>& root,
                  const boost::shared_ptr<DeclaredGroup>& group, LateEvents& events);
    bool redefine(const boost::shared_ptr<SettingsImpl>& group, LateEvents& events);
    /// Reads a file again, and notes what comes of it.
    void loadLevel(const NodePtr& group, LevelIndex level);
    /// What follows when a group has its definitions.
    void settle(const NodePtr& group) noexcept;
    template <class ChangeSources>
    void reload(const std::string& name, const char* operation, const ChangeSources& change);
    void requireSource(const std::string& name, const char* operation) const;
    template <class Step>
    void orTakeBack(const std::string& name, ToolboxSources::Change change, const Step& step);
    /// The one in force, in a tree that takes them.
    std::optional<FactorySettingsTracker::Service> serviceOf(const std::string& name) const;
    ToolboxSource sourceOf(const std::string& name) const;
    /// As the source in force says.
    bool isVisible(const std::string& name) const;
    std::string sourceText(const std::string& name) const;
    /// The definitions and nothing else; none when there is no source.
    ToolboxDefinition define(const std::string& name);
    /// The services for groups in that one that came since it was defined.
    void takeSubgroups(const std::string& name);
    template <class Step>
    void unlessBroken(const std::string& name, const Step& step);
    ToolboxSources::Refused noteRefusal();

    const boost::shared_ptr<LevelFileKeeper> files_;
    const std::shared_ptr<UserSettingsUpgrade> upgrade_;
    const boost::weak_ptr<SettingsImplRoot> root_;
    ToolboxSources sources_;
    LoadProblems problems_;
    std::atomic<bool> isBuilt_{false};
    bool takesServices_ = false; // from the beginning of build() on
    std::uint64_t builtAt_ = 0;  // arrivals of the tracker then; as before build() or after it
    mutable std::mutex creation_;
    // Guarded by creation_.
    std::map<std::string, boost::shared_ptr<DeclaredGroup>> withoutSource_;
    std::map<std::string, std::uint64_t> definedAt_; // arrivals of the tracker then
    /// The groups of this process, perhaps none, behind those of other processes.
    std::map<std::string, NodePtr> replaced_;
};

} // namespace settings::core::detail
