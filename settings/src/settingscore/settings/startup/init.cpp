#include "settingscore/startup/init.hpp"

#include "settingscore/settings/level/LevelFolders.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/settings/root/TreeStart.hpp"
#include "settingscore/settings/startup/HostInfoTracker.hpp"
#include "settingscore/settings/startup/StartupLog.hpp"
#include "settingscore/settings/startup/UpdatePrefdirCallbacks.hpp"
#include "settingscore/spf/TopLevelNodeClientTracker.hpp"

#include <atomic>

namespace settings::core {

namespace {

/// What the first tree of the process waits for and tells.
class Start : public detail::TreeStart {
  public:
    static Start& instance() {
        static auto* const start = new Start; // outlives every thread
        return *start;
    }

    bool isInitialized() const override { return isInitialized_.load(std::memory_order_acquire); }
    void prepare() override {
        detail::userFolder(); // a folder that cannot be determined ends the process here
        callbacks().prefdirIsFound();
    }
    void treeIsBuilt() override {
        spf::TopLevelNodeClientTracker::follow(); // groups of others stand below the root that there is
        callbacks().settingsTreeIsReady(Calling::byWhoeverCalls);
    }
    std::shared_ptr<void> treeGoes() override { return spf::TopLevelNodeClientTracker::letGo(); }
    void initialize() { isInitialized_.store(true, std::memory_order_release); }

  private:
    // A callback may be waiting for the thread that starts the library.
    using Calling = detail::UpdatePrefdirCallbacks::Calling;
    static detail::UpdatePrefdirCallbacks& callbacks() { return *detail::UpdatePrefdirCallbacks::instance(); }

    std::atomic<bool> isInitialized_{false};
};

[[maybe_unused]] const bool isInstalled = (detail::setTreeStart(&Start::instance()), true);

} // namespace

void init() {
    VARNEK_LOG(detail::startupLog, info) << "settings::core::init";
    detail::createHostInfoTracker();
    Start::instance().initialize();
}

void detail::createHostInfoTracker() {
    HostInfoTracker::instance();
}

} // namespace settings::core
