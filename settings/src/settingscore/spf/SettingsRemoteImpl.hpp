/// A node of another process: a group that is published there, or a group or setting in it.
///
/// Children, flags and values are asked for when somebody wants them, with one call each that waits for the
/// answer (exception::RemoteCallFailed when there is none); name, full name, parent and identity are known
/// here. Values can be read as data arrays and be unset, children be removed. Everything else is refused with
/// an exception of its own (exception/RemoteFailures.hpp).
///
/// The answer to a browse says what the children are. Each of these flags stands for one question within
/// `browseTime`; every other question is asked.
///
/// Thread-safe. A node keeps its parents alive. When the publication ends, the nodes stay where they are, and
/// every call of them fails.
#pragma once

#include "settingscore/settings/node/SettingsNodeImpl.hpp"
#include "settingscore/spf/RemoteMethods.hpp"

#include <boost/enable_shared_from_this.hpp>

#include <atomic>
#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace settings::spf {

class RemoteGroup;

using core::LevelIndex;
using core::ReadOnlyState;
using core::RootIndex;
using core::Settings;
using core::ValidatorVariant;
using core::detail::ConstNodePtr;
using core::detail::FactorySettingProperties;
using core::detail::NodePtr;
using core::detail::ShapedArray;
using core::detail::UpgraderRecord;

class SettingsRemoteImpl final : public core::detail::SettingsNodeImpl,
                                 public boost::enable_shared_from_this<SettingsRemoteImpl> {
  public:
    static constexpr std::chrono::milliseconds browseTime = std::chrono::seconds(1);

    /// Made by `group` only. `parent` is empty for the group's top-level node, which stands below the root of
    /// this process while it is attached.
    SettingsRemoteImpl(std::shared_ptr<RemoteGroup> group, boost::shared_ptr<SettingsRemoteImpl> parent,
                       std::string name, std::uint64_t serial);
    ~SettingsRemoteImpl() override;

    /// From the top-level group down, without its name.
    Path path() const;
    std::uint64_t serial() const noexcept { return serial_; }
    /// Null for the top-level node.
    const SettingsRemoteImpl* above() const noexcept { return parent_.get(); }
    RemoteGroup& group() const noexcept { return *group_; }
    /// What a reply has said of this node does not hold any more.
    void forgetTold() const noexcept;
    /// What the other process calls the parent; empty for its top-level group.
    std::string getParentFullName() const;

    // Asked for.
    bool isSet(std::string_view name, std::string_view level) const override;
    void unset(std::string_view name, std::string_view level) override;
    ConstNodePtr getChild(std::string_view name, bool load) const override;
    NodePtr getChild(std::string_view name, bool load) override;
    std::vector<ConstNodePtr> getChildren() const override;
    std::vector<NodePtr> getChildren() override;
    bool isLeafNode() const override;
    bool isVisible() const override;
    bool isReadOnly() const override;
    bool isRoot() const override;
    varnek::data::Array get(std::string_view name, std::string_view level) const override;
    void removeNode(std::string_view name) override;
    void loadUserSettingsOncePerPrefdir() override;
    bool needsSyncWithVCOSTree() const override;
    void setSyncWithVCOSTree(bool sync) override;
    NodePtr findSetting(std::string_view name) const override;
    ReadOnlyState readOnlyState() const override;
    ShapedArray valueOn(LevelIndex level) const override;

    // Known here.
    std::string getFullName(bool includeRoot, std::string_view separator) const override;
    NodePtr getParent() const override;
    boost::shared_ptr<Settings> getThisObject() override;
    const std::string& getName() const override { return name_; }
    /// Keeps it: listeners may know it when nobody holds the node.
    core::detail::NodeIdentity identity() const override;
    LevelIndex checkLevel(std::string_view level) const override;
    /// Nobody may remove from here what another process has defined.
    LevelIndex originLevel() const override { return LevelIndex::factory; }
    NodePtr unwrap() override { return shared_from_this(); }
    /// Of the top-level node: the root that it is made for, or empty. Anything else is refused.
    void setParent(const NodePtr& parent) override;

    // Its files and its definition are another process's affair.
    void saveThisSubTree(LevelIndex) override {}
    NodePtr getTopLevelNodeForSave() override { return {}; }
    boost::shared_ptr<const core::detail::TreeContext> treeContext() const override { return {}; }
    bool hasAnythingToPersist(LevelIndex) const override { return false; }
    bool loadValue(LevelIndex, ShapedArray) override { return false; }
    void unloadLevel(LevelIndex) override {}
    varnek::json::Object attributes() const override { return {}; }
    std::string aliasName() const override { return {}; }
    const core::detail::LevelValues* peekValues(std::string_view) const noexcept override { return nullptr; }
    const SettingsNodeImpl* peekChild(std::string_view) const noexcept override { return nullptr; }
    const core::detail::LevelValues* values() const noexcept override { return nullptr; }
    void checkStructureMayChange(const boost::shared_ptr<const Settings>&, bool) const override {}

    // Refused.
    boost::optional<std::uint64_t> getDataTypeIndex(std::string_view name) const override;
    boost::optional<std::uint32_t> getVersionNumber() const override;
    void mergeDescendants(const ConstNodePtr& other, std::string_view level) override;
    RootIndex getRootIndex() const override;
    NodePtr addSetting(std::string_view name, const FactorySettingProperties& definition,
                       std::string_view level) override;
    NodePtr addGroup(std::string_view name, const FactorySettingProperties& definition,
                     std::string_view level) override;
    bool isConnectedToTheSettingsTree() const override;
    ShapedArray getAny(std::string_view name, std::string_view level) const override;
    void setValue(std::string_view name, const varnek::data::Array& value, bool isVector,
                  std::string_view level) override;
    std::vector<core::detail::Failure> multipleSet(std::span<const core::detail::NodeValue> values,
                                                   std::string_view level, bool collect) override;
    std::vector<core::detail::Failure> multipleValidate(std::span<const core::detail::NodeValue> values,
                                                        bool collect) const override;
    void reloadFactoryFile(std::string_view name) override;
    FactorySettingProperties definition() const override;
    void setAttributes(varnek::json::Object attributes) override;
    void setValidator(const ValidatorVariant& validator) override;
    void validate() const override;
    NodePtr createFactorySetting(std::string_view name, const FactorySettingProperties& definition,
                                 bool needsSync) override;
    void adoptChildren(std::vector<NodePtr> children) override;
    void registerFactoryFile(const std::u16string& file, const std::u16string& folder,
                             const std::vector<UpgraderRecord>& upgraders, bool force,
                             std::string_view name) override;
    void writeFactoryFile(const std::u16string& file, const std::vector<UpgraderRecord>& upgraders) override;
    void loaderAdded(std::string_view name) override;
    boost::shared_ptr<const Settings> getThisObjectImpl() const override;

  private:
    boost::shared_ptr<SettingsRemoteImpl> self() const;
    /// A call about this node, with these arguments behind its path; what is taken of the reply.
    template <class Take>
    auto call(const char* method, Value::List arguments, Take take) const;
    /// call() of an operation that the other process may not serve; then `Refusal`.
    template <class Refusal, class Take>
    auto callIfServed(const char* method, Value::List arguments, Take take) const;
    std::vector<NodePtr> browse(const char* method) const;
    /// What a reply has said of this node.
    void tell(std::int64_t flags) const noexcept;
    bool ask(const char* method, std::uint32_t flag) const;

    const std::shared_ptr<RemoteGroup> group_;
    const boost::shared_ptr<SettingsRemoteImpl> parent_; // null: top-level
    const std::string name_;
    const std::uint64_t serial_;
    mutable std::atomic<std::uint32_t> told_{0}; // flags not asked for since; their values 8 bits higher
    mutable std::atomic<std::chrono::steady_clock::rep> toldUntil_{0};
};

} // namespace settings::spf
