#include "settingscore/events/EventTypes.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/events/UpdatePrefdirEvent.hpp"

#include <utility>

namespace settings::core {

using varnek::event::TypeInfo;
using varnek::event::TypeInfoHandle;

namespace {

/// Never destroyed: listeners may ask for a type to the end of the process.
const TypeInfoHandle& registered(std::string_view name, const TypeInfoHandle& base) {
    return *new TypeInfoHandle(TypeInfo::define(name, {base}));
}

} // namespace

const TypeInfoHandle& SettingsEvent::staticTypeInfo() {
    static const TypeInfoHandle& type = registered(detail::settingsEventName, Event::staticTypeInfo());
    return type;
}
const TypeInfoHandle& SettingsValueChangeEvent::staticTypeInfo() {
    static const TypeInfoHandle& type =
        registered(detail::valueChangeEventName, SettingsEvent::staticTypeInfo());
    return type;
}
const TypeInfoHandle& SettingsAddNodeEvent::staticTypeInfo() {
    static const TypeInfoHandle& type = registered(detail::addNodeEventName, SettingsEvent::staticTypeInfo());
    return type;
}
const TypeInfoHandle& SettingsRemoveNodeEvent::staticTypeInfo() {
    static const TypeInfoHandle& type =
        registered(detail::removeNodeEventName, SettingsEvent::staticTypeInfo());
    return type;
}
const TypeInfoHandle& UpdatePrefdirEvent::staticTypeInfo() {
    static const TypeInfoHandle& type =
        registered(detail::updatePrefdirEventName, SettingsEvent::staticTypeInfo());
    return type;
}

namespace {

// The event manager knows the classes by name from the moment that the library is loaded.
[[maybe_unused]] const bool allRegistered =
    (SettingsValueChangeEvent::staticTypeInfo(), SettingsAddNodeEvent::staticTypeInfo(),
     SettingsRemoveNodeEvent::staticTypeInfo(), UpdatePrefdirEvent::staticTypeInfo(), true);

} // namespace

SettingsEvent::SettingsEvent(boost::shared_ptr<const Settings> object, std::vector<std::u16string> eventTypes,
                             const RootIndex& rootIndex)
    : SettingsEvent(std::move(object), staticTypeInfo(), rootIndex, std::move(eventTypes)) {}

SettingsEvent::SettingsEvent(boost::shared_ptr<const Settings> object, TypeInfoHandle typeInfo,
                             const RootIndex& rootIndex, std::vector<std::u16string> eventTypes)
    : Event(std::move(typeInfo), std::move(eventTypes)), object_(std::move(object)), rootIndex_(rootIndex) {}

SettingsEvent::~SettingsEvent() = default;

boost::shared_ptr<const Settings> SettingsEvent::getObj() const {
    return object_;
}
RootIndex SettingsEvent::getRootIndex() const {
    return rootIndex_;
}

SettingsValueChangeEvent::SettingsValueChangeEvent(boost::shared_ptr<const Settings> object,
                                                   std::vector<std::u16string> eventTypes,
                                                   const RootIndex& rootIndex, varnek::data::Array oldValue)
    : SettingsEvent(std::move(object), staticTypeInfo(), rootIndex, std::move(eventTypes)),
      oldValue_(std::move(oldValue)) {}

SettingsValueChangeEvent::~SettingsValueChangeEvent() = default;

varnek::data::Array SettingsValueChangeEvent::getOldValue() const {
    return oldValue_;
}

SettingsAddNodeEvent::SettingsAddNodeEvent(boost::shared_ptr<const Settings> object,
                                           boost::shared_ptr<const Settings> parent,
                                           std::vector<std::u16string> eventTypes, const RootIndex& rootIndex,
                                           bool syncCoreSettingsTreeRequired)
    : SettingsEvent(std::move(object), staticTypeInfo(), rootIndex, std::move(eventTypes)),
      parent_(std::move(parent)), syncCoreSettingsTreeRequired_(syncCoreSettingsTreeRequired) {}

SettingsAddNodeEvent::~SettingsAddNodeEvent() = default;

boost::shared_ptr<const Settings> SettingsAddNodeEvent::getParentObj() const {
    return parent_;
}
bool SettingsAddNodeEvent::syncCoreSettingsTreeRequired() const {
    return syncCoreSettingsTreeRequired_;
}

SettingsRemoveNodeEvent::SettingsRemoveNodeEvent(boost::shared_ptr<const Settings> object,
                                                 boost::shared_ptr<const Settings> parent,
                                                 std::vector<std::u16string> eventTypes,
                                                 const RootIndex& rootIndex)
    : SettingsEvent(std::move(object), staticTypeInfo(), rootIndex, std::move(eventTypes)),
      parent_(std::move(parent)) {}

SettingsRemoveNodeEvent::~SettingsRemoveNodeEvent() = default;

boost::shared_ptr<const Settings> SettingsRemoveNodeEvent::getParentObj() const {
    return parent_;
}

UpdatePrefdirEvent::UpdatePrefdirEvent(boost::shared_ptr<const Settings> object,
                                       std::vector<std::u16string> eventTypes, const RootIndex& rootIndex)
    : SettingsEvent(std::move(object), staticTypeInfo(), rootIndex, std::move(eventTypes)) {}

UpdatePrefdirEvent::~UpdatePrefdirEvent() = default;

} // namespace settings::core
