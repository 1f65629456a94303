#include "settingscore/validation/definition/SettingsMProxyEventHandler.hpp"

#include "settingscore/events/SettingsEvent.hpp"
#include "settingscore/validation/definition/MProxyEventHandlerReset.hpp"
#include "varnek/event/EventManager.hpp"

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace settings::core {

namespace {

/// Lives to the end of the process, as events may be raised until then.
struct Installed {
    std::mutex mutex; // not held while the handler runs
    std::atomic<bool> is{false};
    varnek::event::Connection connection; // guarded by mutex
};

Installed& installed() {
    static auto* const instance = new Installed;
    return *instance;
}

} // namespace

SettingsMProxyEventHandler::~SettingsMProxyEventHandler() = default;

bool SettingsMProxyEventHandler::initMProxyEventHandler(
    const boost::shared_ptr<SettingsMProxyEventHandler>& handler) {
    if (handler == nullptr)
        throw std::invalid_argument("no event handler");
    const std::lock_guard lock(installed().mutex);
    if (installed().is)
        return false;
    installed().connection = varnek::event::EventManager::instance().subscribe(
        SettingsEvent::staticTypeInfo()->eventTypes().front(),
        [handler](const varnek::event::EventHandle& event) {
            if (const auto own = boost::dynamic_pointer_cast<const SettingsEvent>(event))
                handler->handleEvent(own);
        });
    installed().is = true;
    return true;
}

bool SettingsMProxyEventHandler::isInitialized() noexcept {
    return installed().is;
}

void detail::removeMProxyEventHandler() {
    varnek::event::Connection connection;
    {
        const std::lock_guard lock(installed().mutex);
        connection = std::exchange(installed().connection, {});
        installed().is = false;
    }
    connection.disconnectAndWait();
}

} // namespace settings::core
