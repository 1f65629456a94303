/// The node at the top of one settings tree. Its children are the top-level groups, one per product or
/// toolbox; it holds no settings. It is owned by the state of its tree and refers to no parent.
#pragma once

#include "settingscore/settings/settingsImpl.hpp"

namespace settings::core::detail {

class SettingsImplRoot : public SettingsImpl {
  public:
    /// `context` tells the whole tree its index, and whether changes raise events and are saved.
    static boost::shared_ptr<SettingsImplRoot> make(TreeContext context);

    bool isRoot() const override { return true; }
    boost::shared_ptr<const TreeContext> treeContext() const override { return context_; }
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

    const boost::shared_ptr<const TreeContext> context_;
};

} // namespace settings::core::detail
