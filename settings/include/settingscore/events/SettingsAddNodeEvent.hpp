/// A group or a setting was added.
#pragma once

#include "settingscore/events/SettingsEvent.hpp"

namespace settings::core {

class SETTINGSCORE_EXPORT SettingsAddNodeEvent : public SettingsEvent {
  public:
    /// `object`: the new node, `parent`: the group that it was added to.
    SettingsAddNodeEvent(boost::shared_ptr<const Settings> object, boost::shared_ptr<const Settings> parent,
                         std::vector<std::u16string> eventTypes, const RootIndex& rootIndex,
                         bool syncCoreSettingsTreeRequired);
    ~SettingsAddNodeEvent() override;

    /// "settings::core::SettingsAddNodeEvent".
    static const varnek::event::TypeInfoHandle& staticTypeInfo();

    boost::shared_ptr<const Settings> getParentObj() const;
    /// Whether the tree of the interpreted language has to be brought in step.
    bool syncCoreSettingsTreeRequired() const;

  private:
    SettingsAddNodeEvent(const SettingsAddNodeEvent&) = default;

    boost::shared_ptr<const Settings> parent_;
    bool syncCoreSettingsTreeRequired_;
};

} // namespace settings::core
