/// The preferences directory changed and the tree was loaded from the new one.
#pragma once

#include "settingscore/events/SettingsEvent.hpp"

namespace settings::core {

class SETTINGSCORE_EXPORT UpdatePrefdirEvent : public SettingsEvent {
  public:
    /// `object`: the root of the tree.
    UpdatePrefdirEvent(boost::shared_ptr<const Settings> object, std::vector<std::u16string> eventTypes,
                       const RootIndex& rootIndex);
    ~UpdatePrefdirEvent() override;

    /// "settings::core::UpdatePrefdirEvent".
    static const varnek::event::TypeInfoHandle& staticTypeInfo();

  private:
    UpdatePrefdirEvent(const UpdatePrefdirEvent&) = default;
};

} // namespace settings::core
