/// The node at the top of one settings tree. Its children are the top-level groups, one per product or
/// toolbox; it holds no settings. It is owned by the state of its tree and refers to no parent.
///
/// Its Toolboxes know where definitions come from; a root without them (of a tree for one file, and the
/// standalone one) has the groups that others add.
#pragma once

#include "settingscore/settings/settingsImpl.hpp"

#include "varnek/event/EventManager.hpp"

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>

namespace varnek::spf {
class SPFConfiguration;
}

namespace settings::core::detail {

class Toolboxes;

class SettingsImplRoot : public SettingsImpl {
  public:
    /// `context` tells the whole tree its index, and whether changes raise events and are saved.
    static boost::shared_ptr<SettingsImplRoot> make(TreeContext context);
    ~SettingsImplRoot() override;

    /// Before the root is used, once.
    void setToolboxes(std::shared_ptr<Toolboxes> toolboxes) { toolboxes_ = std::move(toolboxes); }
    /// Another root has taken its place: its groups stand outside the tree from now on. Thread-safe.
    void leaveTree() noexcept { hasLeft_ = true; }
    /// Puts a group below the root for everything that is declared; none of them is loaded. Blocks on the
    /// disk, starts bundles. MalformedLocationFile; exception::ErrorReadingSettingsData for a location file
    /// that is there and cannot be read.
    void buildSettingsTree(const std::filesystem::path& factoryFolder);
    /// The factory files that loaders need before the application's start is complete. A loader at fault is
    /// noted among the problems of a root with Toolboxes.
    std::set<std::filesystem::path> getEarlyStartupFactoryFileNames() const;
    /// The top-level group of that name as it is, or empty.
    NodePtr childNamed(std::string_view name) const;

    // Groups of other processes and those that this one publishes (spf).

    /// How this tree's groups are published: known to whoever publishes them. Null before the first.
    std::shared_ptr<const varnek::spf::SPFConfiguration> serviceConfiguration() const;
    void setServiceConfiguration(std::shared_ptr<const varnek::spf::SPFConfiguration> configuration);
    /// Takes a top-level group out and puts another one below the root, in one step; either may be empty.
    /// Both have one name. The events are left in `events`. False, and nothing changed, when `before` does
    /// not stand there any more. ErrorAddingTopLevelNode, InvalidSettingOrGroupName.
    bool exchangeGroup(const NodePtr& before, const NodePtr& after, bool needsSync, LateEvents& events);

    bool isRoot() const override { return true; }
    /// A group that is declared is loaded first when `load` says so; empty when nothing defines it.
    NodePtr getChild(std::string_view name, bool load) override;
    using SettingsImpl::getChild;
    /// CantReloadFactoryFile.
    void reloadFactoryFile(std::string_view toolboxGroupName) override;
    void loaderAdded(std::string_view name) override;
    boost::shared_ptr<const TreeContext> treeContext() const override {
        return hasLeft_ ? outside_ : context_;
    }
    /// CanNotAddKeyToRootException, after the level check.
    NodePtr addSetting(std::string_view name, const FactorySettingProperties& definition,
                       std::string_view level) override;
    NodePtr createFactorySetting(std::string_view name, const FactorySettingProperties& definition,
                                 bool needsSync) override;

  protected:
    /// The top-level group whose name equals `name` or differs from it only in the case of ASCII letters:
    /// adding another one raises ErrorAddingTopLevelNode.
    NodePtr clashing(std::string_view name) const override;
    [[noreturn]] void refuseClash(const NodePtr& existing) const override;
    [[noreturn]] void refuseInsertion(const std::string& name) const override;
    /// For groups that files and services declare: ProductNodeAlreadyExisted.
    void checkAdoptable(const std::vector<NodePtr>& children) const override;

  private:
    explicit SettingsImplRoot(TreeContext context);
    void followPrefdir();

    const boost::shared_ptr<const TreeContext> context_;
    const boost::shared_ptr<const TreeContext> outside_; // that of a root which has left its tree
    std::atomic<bool> hasLeft_{false};
    std::shared_ptr<Toolboxes> toolboxes_; // may be null
    varnek::event::ScopedConnection prefdirChanges_;
    mutable std::mutex configurationMutex_; // rank "service configuration"
    std::shared_ptr<const varnek::spf::SPFConfiguration> configuration_;
};

} // namespace settings::core::detail
