// The operations of the language front ends' handle that need the trees of the process.

#include "settingscore/MSettings.hpp"

#include "settingscore/SettingsRoot.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/settings/level/TreeFolders.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"
#include "varnek/log/Channel.hpp"

namespace settings::core {

namespace {

varnek::log::Channel frontEndLog("settings::core::MSettings");

std::optional<std::u16string> standard(const boost::optional<std::u16string>& text) {
    return text ? std::optional(*text) : std::nullopt;
}

detail::EventDelivery& deliveryOf(const detail::SettingsRootStateMgr& state) {
    return *state.root->treeContext()->events;
}

} // namespace

boost::shared_ptr<MSettings> MSettings::getMSettingsRoot(const RootIndex& tree) {
    VARNEK_LOG(frontEndLog, info) << "getMSettingsRoot:" << tree.index();
    auto root = of(detail::getSettingsRoot(tree));
    VARNEK_LOG(frontEndLog, info) << "getMSettingsRoot:children"
                                  << ": " << root->getChildren().size();
    return root;
}

bool MSettings::createEmptySettingsFor(const RootIndex& tree) {
    return detail::TreesOnDemand::instance().createEmpty(tree);
}

boost::shared_ptr<MSettings> MSettings::reset() {
    return of(detail::TreesOnDemand::instance().rebuild(DefaultRootIndex())->root->getThisObject());
}

void MSettings::enableEventQueue(const RootIndex& tree, bool enable) {
    deliveryOf(*detail::TreesOnDemand::instance().find(tree)).enableQueue(enable);
}

void MSettings::eventQueue(std::queue<boost::shared_ptr<const SettingsEvent>>& events) {
    eventQueue(DefaultRootIndex(), events);
}

void MSettings::eventQueue(const RootIndex& tree,
                           std::queue<boost::shared_ptr<const SettingsEvent>>& events) {
    // A tree that nobody has asked for yet has no events.
    if (const auto state = detail::TreesOnDemand::instance().existing(tree))
        deliveryOf(*state).moveQueuedTo(events);
}

void MSettings::setSettingsFileLocation(const RootIndex& tree, const boost::optional<std::u16string>& factory,
                                        const boost::optional<std::u16string>& installation,
                                        const boost::optional<std::u16string>& user,
                                        const boost::optional<std::u16string>& workgroup) {
    waitForSettingsSaves(); // what was changed before goes where it was to go
    detail::setTreeFolders(tree,
                           {standard(factory), standard(installation), standard(user), standard(workgroup)});
}

} // namespace settings::core
