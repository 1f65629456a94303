/// A change of the tree as users and scripts read it.
#pragma once

#include "settingscore/Settings.hpp"
#include "json/Value.hpp"

#include <string>

namespace settings::core {
class SettingsAddNodeEvent;
class SettingsEvent;
class SettingsRemoveNodeEvent;
class SettingsValueChangeEvent;
} // namespace settings::core

namespace vksettings {

/// One event as a line.
class EventLine {
  public:
    EventLine(const settings::core::SettingsEvent& event, bool asJson);

    /// Empty for events that are no concern of users.
    const std::string& text() const { return text_; }
    /// Of the node that the event is about.
    const std::string& name() const { return name_; }
    /// Whether it is one of another process.
    bool isRemote() const { return isRemote_; }
    /// Whether the event is about the node of that full name or what is below it; every event is about "".
    bool isAbout(const std::string& fullName) const {
        return fullName.empty() || name_ == fullName || name_.starts_with(fullName + ".");
    }

  private:
    void changed(const settings::core::SettingsValueChangeEvent& event);
    void added(const settings::core::SettingsAddNodeEvent& event);
    void removed(const settings::core::SettingsRemoveNodeEvent& event);
    void cameOrWent(const char* how);
    void setName(const settings::core::Settings& parent, const settings::core::Settings& node);
    void write(varnek::json::Object object, const std::string& forPeople);

    const bool asJson_;
    const bool isRemote_;
    std::string name_;
    std::string text_;
};

} // namespace vksettings
