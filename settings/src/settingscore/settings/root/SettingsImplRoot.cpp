#include "settingscore/settings/root/SettingsImplRoot.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "varnek/log/Channel.hpp"

#include <boost/make_shared.hpp>

#include <algorithm>

namespace settings::core::detail {

namespace {

constexpr char rootName[] = "root";

NodeSpec rootSpec() {
    NodeSpec spec;
    spec.name = rootName;
    spec.origin = LevelIndex::factory;
    return spec;
}

TreeContext withEvents(TreeContext context) {
    if (context.connected && context.events == nullptr)
        context.events = boost::make_shared<EventDelivery>();
    return context;
}

} // namespace

SettingsImplRoot::SettingsImplRoot(TreeContext context)
    : SettingsImpl(rootSpec(), true), context_(boost::make_shared<const TreeContext>(std::move(context))) {}

boost::shared_ptr<SettingsImplRoot> SettingsImplRoot::make(TreeContext context) {
    static varnek::log::Channel channel("settings::core::settingsImplRoot");
    VARNEK_LOG(channel, info) << "SettingsImplRoot::SettingsImplRoot "
                              << " RootIndex:" << context.rootIndex.index();
    boost::shared_ptr<SettingsImplRoot> root(new SettingsImplRoot(withEvents(std::move(context))));
    finish(root);
    return root;
}

NodePtr SettingsImplRoot::clashing(std::string_view name) const {
    for (const NodePtr& child : group().children.inOrder())
        if (sameButForCase(child->getName(), name))
            return child;
    return {};
}

NodePtr SettingsImplRoot::addSetting(std::string_view, const FactorySettingProperties&,
                                     std::string_view level) {
    checkLevel(level);
    throw exception::CanNotAddKeyToRootException(getThisObject());
}

NodePtr SettingsImplRoot::createFactorySetting(std::string_view name, const FactorySettingProperties&, bool) {
    throw exception::CannotAddKeyToRoot(std::string(name));
}

void SettingsImplRoot::refuseClash(const NodePtr& existing) const {
    throw exception::ErrorAddingTopLevelNode(existing->getName());
}

void SettingsImplRoot::refuseInsertion(const std::string& name) const {
    throw exception::ErrorAddingTopLevelNode(name);
}

void SettingsImplRoot::checkAdoptable(const std::vector<NodePtr>& children) const {
    for (auto child = children.begin(); child != children.end(); ++child) {
        const std::string& name = (*child)->getName();
        if (const NodePtr existing = clashing(name))
            throw exception::ProductNodeAlreadyExisted(name, existing->getName());
        const auto twin = std::find_if(children.begin(), child, [&](const NodePtr& other) {
            return sameButForCase(other->getName(), name);
        });
        if (twin != child)
            throw exception::ProductNodeAlreadyExisted(name, (*twin)->getName());
    }
}

} // namespace settings::core::detail
