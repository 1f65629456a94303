/// The object through which the front end of the interpreted language hears of every event.
///
/// One for the process, installed once, when the front end is ready, and kept to the end of the process.
#pragma once

#include "settingscore/Export.hpp"

#include <boost/shared_ptr.hpp>

namespace settings::core {

class SettingsEvent;

class SETTINGSCORE_EXPORT SettingsMProxyEventHandler {
  public:
    virtual ~SettingsMProxyEventHandler();

    /// Called like a listener of "settings::core::SettingsEvent": in the order of the changes of a tree, on
    /// the thread that hands the events on, without locks. What it throws is logged and dropped.
    virtual void handleEvent(const boost::shared_ptr<const SettingsEvent>& event) = 0;

    /// Installs the handler. False, and nothing changes, when there is one. Thread-safe.
    /// std::invalid_argument for an empty handle.
    static bool initMProxyEventHandler(const boost::shared_ptr<SettingsMProxyEventHandler>& handler);
    static bool isInitialized() noexcept;

  protected:
    SettingsMProxyEventHandler() = default;
    SettingsMProxyEventHandler(const SettingsMProxyEventHandler&) = default;
    SettingsMProxyEventHandler& operator=(const SettingsMProxyEventHandler&) = default;
};

} // namespace settings::core
