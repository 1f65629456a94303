/// A group or a setting was removed.
#pragma once

#include "settingscore/events/SettingsEvent.hpp"

namespace settings::core {

class SETTINGSCORE_EXPORT SettingsRemoveNodeEvent : public SettingsEvent {
  public:
    /// `object`: the removed node, `parent`: the group that it was removed from.
    SettingsRemoveNodeEvent(boost::shared_ptr<const Settings> object,
                            boost::shared_ptr<const Settings> parent, std::vector<std::u16string> eventTypes,
                            const RootIndex& rootIndex);
    ~SettingsRemoveNodeEvent() override;

    /// "settings::core::SettingsRemoveNodeEvent".
    static const varnek::event::TypeInfoHandle& staticTypeInfo();

    boost::shared_ptr<const Settings> getParentObj() const;

  private:
    SettingsRemoveNodeEvent(const SettingsRemoveNodeEvent&) = default;

    boost::shared_ptr<const Settings> parent_;
};

} // namespace settings::core
