#include "settingscore/settings/node/SettingsImplForFileManager.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"

#include <boost/make_shared.hpp>

namespace settings::core::detail {

namespace {

NodeSpec rootSpec() {
    NodeSpec spec;
    spec.name = "root";
    return spec;
}

class RootForFileManager final : public SettingsImplForFileManager {
  public:
    explicit RootForFileManager(LevelIndex fileLevel)
        : SettingsImplForFileManager(rootSpec(), true, fileLevel) {
        TreeContext context;
        context.fileTree = true;
        context_ = boost::make_shared<const TreeContext>(std::move(context));
    }

    using SettingsImpl::finish;

    bool isRoot() const override { return true; }
    boost::shared_ptr<const TreeContext> treeContext() const override { return context_; }

    NodePtr addSetting(std::string_view, const FactorySettingProperties&, std::string_view level) override {
        checkLevel(level);
        throw exception::CanNotAddKeyToRootException(getThisObject());
    }
    NodePtr createFactorySetting(std::string_view name, const FactorySettingProperties&, bool) override {
        throw exception::CannotAddKeyToRoot(std::string(name));
    }
    void checkStructureMayChange(const boost::shared_ptr<const Settings>& child, bool) const override {
        throw exception::CannotAddRemoveNodeUnderReadOnlyParent(getThisObjectImpl(), child);
    }

  private:
    boost::shared_ptr<const TreeContext> context_;
};

} // namespace

SettingsImplForFileManager::SettingsImplForFileManager(NodeSpec spec, bool isGroup, LevelIndex fileLevel)
    : SettingsImpl(std::move(spec), isGroup), fileLevel_(fileLevel) {}

boost::shared_ptr<SettingsImpl> SettingsImplForFileManager::make(NodeSpec spec, bool isGroup,
                                                                 LevelIndex fileLevel) {
    boost::shared_ptr<SettingsImpl> node(new SettingsImplForFileManager(std::move(spec), isGroup, fileLevel));
    finish(node);
    return node;
}

boost::shared_ptr<SettingsImpl> SettingsImplForFileManager::makeGroup(NodeSpec spec, LevelIndex fileLevel) {
    return make(std::move(spec), true, fileLevel);
}

boost::shared_ptr<SettingsImpl> SettingsImplForFileManager::makeSetting(NodeSpec spec, LevelIndex fileLevel) {
    return make(std::move(spec), false, fileLevel);
}

boost::shared_ptr<SettingsImpl> SettingsImplForFileManager::makeRoot(const NodePtr& topLevelGroup,
                                                                     LevelIndex fileLevel) {
    boost::shared_ptr<SettingsImpl> root(new RootForFileManager(fileLevel));
    RootForFileManager::finish(root);
    root->adoptChildren({topLevelGroup});
    return root;
}

boost::shared_ptr<SettingsImpl> SettingsImplForFileManager::makeChild(NodeSpec spec, bool isGroup) const {
    return make(std::move(spec), isGroup, fileLevel_);
}

bool SettingsImplForFileManager::mayBeRemoved(const SettingsNodeImpl& child) const {
    return child.originLevel() == fileLevel_;
}

LevelIndex SettingsImplForFileManager::checkLevel(std::string_view level) const {
    const LevelIndex at = requireLevel(level, [this] { return getThisObjectImpl(); });
    if (at != fileLevel_)
        throw exception::CantModifyValuesOnReadOnlyLevel(getThisObjectImpl(), std::string(level));
    return at;
}

} // namespace settings::core::detail
