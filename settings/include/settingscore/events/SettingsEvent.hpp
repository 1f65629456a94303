/// The base of the events of settings trees.
///
/// An event tells of a change that is in place. It is immutable once made, and passed around as a shared
/// handle to a constant event; any thread may read it. It keeps the nodes that it names alive.
///
/// Listeners receive it under its event types, and under the qualified names of its class and base classes.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/level/RootIndex.hpp"
#include "varnek/event/Event.hpp"

#include <boost/shared_ptr.hpp>

#include <string>
#include <vector>

namespace settings::core {

class Settings;

class SETTINGSCORE_EXPORT SettingsEvent : public varnek::event::Event {
  public:
    /// `object`: what the event is about. `eventTypes`: UTF-16; without any, those of the class.
    SettingsEvent(boost::shared_ptr<const Settings> object, std::vector<std::u16string> eventTypes,
                  const RootIndex& rootIndex);
    ~SettingsEvent() override;

    /// "settings::core::SettingsEvent".
    static const varnek::event::TypeInfoHandle& staticTypeInfo();

    virtual boost::shared_ptr<const Settings> getObj() const;
    /// The tree of the object.
    virtual RootIndex getRootIndex() const;

  protected:
    /// For subclasses, which name their own class.
    SettingsEvent(boost::shared_ptr<const Settings> object, varnek::event::TypeInfoHandle typeInfo,
                  const RootIndex& rootIndex, std::vector<std::u16string> eventTypes = {});
    SettingsEvent(const SettingsEvent&) = default;

  private:
    boost::shared_ptr<const Settings> object_;
    RootIndex rootIndex_;
};

} // namespace settings::core
