/// A node that stands for another one: every operation goes to the node behind it.
#pragma once

#include "settingscore/settings/node/SettingsNodeImpl.hpp"

namespace settings::core::detail {

/// Immutable; as thread-safe as the node behind it, which it keeps alive.
class SettingsImplProxy final : public SettingsNodeImpl {
  public:
    /// `target` is not empty.
    explicit SettingsImplProxy(NodePtr target);

    std::string getFullName(bool includeRoot, std::string_view separator) const override;
    bool isSet(std::string_view name, std::string_view level) const override;
    void unset(std::string_view name, std::string_view level) override;
    boost::optional<std::uint64_t> getDataTypeIndex(std::string_view name) const override;
    ConstNodePtr getChild(std::string_view name, bool load) const override;
    NodePtr getChild(std::string_view name, bool load) override;
    std::vector<ConstNodePtr> getChildren() const override;
    std::vector<NodePtr> getChildren() override;
    NodePtr getParent() const override;
    bool isLeafNode() const override;
    bool isVisible() const override;
    bool isReadOnly() const override;
    bool isRoot() const override;
    boost::optional<std::uint32_t> getVersionNumber() const override;
    void mergeDescendants(const ConstNodePtr& other, std::string_view level) override;
    RootIndex getRootIndex() const override;
    NodePtr addSetting(std::string_view name, const FactorySettingProperties& definition,
                       std::string_view level) override;
    NodePtr addGroup(std::string_view name, const FactorySettingProperties& definition,
                     std::string_view level) override;
    bool isConnectedToTheSettingsTree() const override;
    ShapedArray getAny(std::string_view name, std::string_view level) const override;
    varnek::data::Array get(std::string_view name, std::string_view level) const override;
    boost::shared_ptr<Settings> getThisObject() override;
    void setValue(std::string_view name, const varnek::data::Array& value, bool isVector,
                  std::string_view level) override;
    std::vector<Failure> multipleSet(std::span<const NodeValue> values, std::string_view level,
                                     bool collect) override;
    std::vector<Failure> multipleValidate(std::span<const NodeValue> values, bool collect) const override;
    void removeNode(std::string_view name) override;
    void loadUserSettingsOncePerPrefdir() override;
    bool needsSyncWithVCOSTree() const override;
    void setSyncWithVCOSTree(bool sync) override;
    void reloadFactoryFile(std::string_view name) override;
    NodePtr findSetting(std::string_view name) const override;
    LevelIndex checkLevel(std::string_view level) const override;
    void saveThisSubTree(LevelIndex level) override;
    NodePtr getTopLevelNodeForSave() override;
    const std::string& getName() const override;
    NodeIdentity identity() const override;
    boost::shared_ptr<const TreeContext> treeContext() const override;
    LevelIndex originLevel() const override;
    ReadOnlyState readOnlyState() const override;
    bool hasAnythingToPersist(LevelIndex level) const override;
    ShapedArray valueOn(LevelIndex level) const override;
    bool loadValue(LevelIndex level, ShapedArray value) override;
    void unloadLevel(LevelIndex level) override;
    FactorySettingProperties definition() const override;
    varnek::json::Object attributes() const override;
    void setAttributes(varnek::json::Object attributes) override;
    void setValidator(const ValidatorVariant& validator) override;
    void validate() const override;
    NodePtr createFactorySetting(std::string_view name, const FactorySettingProperties& definition,
                                 bool needsSync) override;
    void adoptChildren(std::vector<NodePtr> children) override;
    void setParent(const NodePtr& parent) override;
    const LevelValues* peekValues(std::string_view name) const noexcept override;
    const SettingsNodeImpl* peekChild(std::string_view name) const noexcept override;
    std::string aliasName() const override;
    void registerFactoryFile(const std::u16string& file, const std::u16string& folder,
                             const std::vector<UpgraderRecord>& upgraders, bool force,
                             std::string_view name) override;
    void writeFactoryFile(const std::u16string& file, const std::vector<UpgraderRecord>& upgraders) override;
    void loaderAdded(std::string_view name) override;
    boost::shared_ptr<const Settings> getThisObjectImpl() const override;
    NodePtr unwrap() override;
    void checkStructureMayChange(const boost::shared_ptr<const Settings>& child, bool adding) const override;
    const LevelValues* values() const noexcept override;

  private:
    const NodePtr target_;
};

} // namespace settings::core::detail
