// The event-type names under which a node's events are published.

#include "settingscore/Settings.hpp"
#include "settingscore/events/EventTypes.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

namespace settings::core {

std::vector<std::u16string> Settings::getListenerValueChangeEventType() const {
    return detail::eventTypes(detail::valueChangeEventName, impl_->identity());
}

std::vector<std::u16string> Settings::getListenerAddNodeEventType() const {
    return detail::eventTypes(detail::addNodeEventName, impl_->identity());
}

std::vector<std::u16string> Settings::getListenerRemoveNodeEventType() const {
    return detail::eventTypes(detail::removeNodeEventName, impl_->identity());
}

std::vector<std::u16string> Settings::getGlobalListenerEventTypes() const {
    return detail::eventTypes(detail::settingsEventName, impl_->identity());
}

} // namespace settings::core
