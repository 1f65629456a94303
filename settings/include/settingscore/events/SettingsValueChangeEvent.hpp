/// The effective value of a setting changed.
#pragma once

#include "settingscore/events/SettingsEvent.hpp"
#include "varnek/data/Array.hpp"

namespace settings::core {

class SETTINGSCORE_EXPORT SettingsValueChangeEvent : public SettingsEvent {
  public:
    /// `object`: the setting. `oldValue`: its value before the change, void when it had none.
    SettingsValueChangeEvent(boost::shared_ptr<const Settings> object, std::vector<std::u16string> eventTypes,
                             const RootIndex& rootIndex, varnek::data::Array oldValue);
    ~SettingsValueChangeEvent() override;

    /// "settings::core::SettingsValueChangeEvent".
    static const varnek::event::TypeInfoHandle& staticTypeInfo();

    varnek::data::Array getOldValue() const;

  private:
    SettingsValueChangeEvent(const SettingsValueChangeEvent&) = default;

    varnek::data::Array oldValue_;
};

} // namespace settings::core
