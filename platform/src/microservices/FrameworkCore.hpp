/// The state behind frameworks, bundles and contexts.
#pragma once

#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/FrameworkFactory.h"
#include "microservices/Listeners.hpp"
#include "microservices/Manifest.hpp"
#include "microservices/ServiceRegistry.hpp"
#include "varnek/modules/Module.hpp"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

class FrameworkCore;

/// One run of a bundle, from its start to its stop.
struct ContextState {
    std::atomic<bool> valid{true};   // becomes false under the mutex of the registry
    std::atomic<bool> ending{false}; // no new services and listeners
    long bundleId = 0;
};

using ActivatorHandle = std::unique_ptr<BundleActivator, std::function<void(BundleActivator*)>>;

/// Lives as long as its framework. What is not const is guarded by the mutex of the framework; activator and
/// module belong to the thread that `operation` names.
struct BundleCore {
    BundleCore(FrameworkCore& owner, long number, std::string place, BundleDescription what)
        : framework(owner), id(number), location(std::move(place)), description(std::move(what)) {}

    FrameworkCore& framework;
    const long id;
    const std::string location;
    const BundleDescription description;

    Bundle::State state = Bundle::STATE_INSTALLED;
    std::thread::id operation; // starts or stops it right now
    std::shared_ptr<ContextState> context;
    varnek::modules::ModuleHandle module;
    ActivatorHandle activator;
};

using BundleHandle = std::shared_ptr<BundleCore>; // shares the ownership of the framework

/// Thread-safe. No lock is held while libraries are loaded, files are read or activators run.
class FrameworkCore : public std::enable_shared_from_this<FrameworkCore> {
  public:
    FrameworkCore(const FrameworkConfiguration& configuration, std::ostream* log);
    ~FrameworkCore();

    BundleHandle handle(BundleCore& bundle) { return {shared_from_this(), &bundle}; }
    BundleCore& systemBundle() noexcept { return *all_.front(); }
    ServiceRegistry& registry() noexcept { return registry_; }
    Listeners& listeners() noexcept { return listeners_; }
    Any property(const std::string& key) const;

    // Bundles. Uninstalled ones are not found.
    std::vector<BundleHandle> install(const std::string& location, const AnyMap& manifests);
    BundleHandle find(long id);
    std::vector<BundleHandle> bundles();
    std::vector<BundleHandle> bundlesAt(const std::string& location);
    Bundle::State state(const BundleCore& bundle) const;
    std::shared_ptr<ContextState> context(const BundleCore& bundle) const;

    void start(BundleCore& bundle);
    void stop(BundleCore& bundle);
    void uninstall(BundleCore& bundle);

    // The framework itself.
    void init();
    void startFramework();
    void beginStop();
    FrameworkEvent waitForStop(std::chrono::milliseconds timeout);

    /// To the log and to the framework listeners.
    void report(FrameworkEvent::Type type, long bundleId, const std::string& text,
                std::exception_ptr thrown = nullptr) noexcept;
    /// An error, what is being handled.
    void reportThrown(long bundleId, const std::string& what) noexcept;

  private:
    using Lock = std::unique_lock<std::mutex>;
    class Operation;

    std::vector<BundleHandle> add(const std::string& place, const std::string& location,
                                  std::vector<BundleDescription> descriptions);
    void activate(BundleCore& bundle, const std::shared_ptr<ContextState>& context);
    void deactivate(BundleCore& bundle, const std::shared_ptr<ContextState>& context);
    void stopHeld(BundleCore& bundle); // by an Operation
    void stopAll() noexcept;
    void setState(BundleCore& bundle, Bundle::State state);
    void setSystemState(Bundle::State state); // with mutex_ held, as the next
    void refuseToWaitForThisThread() const;
    void logLine(FrameworkEvent::Type type, const std::string& text);
    void tell(BundleEvent::Type type, BundleCore& bundle) noexcept;

    const AnyMap properties_;
    Listeners listeners_;
    ServiceRegistry registry_{listeners_};
    std::mutex logMutex_; // guards *log_
    std::ostream* const log_;

    mutable std::mutex mutex_;        // guards all below and the bundles
    std::condition_variable changed_; // a bundle's operation ended, or the framework changed its state
    std::vector<std::unique_ptr<BundleCore>> all_; // by id, uninstalled ones included; the framework first
    std::map<std::string, std::vector<BundleCore*>> byPlace_; // by absolute path
    std::map<std::thread::id, const BundleCore*> awaited_;    // whose operation the thread waits for
    std::thread stopper_;
};

/// Access to the private constructors of the handles.
struct Handles {
    static Bundle bundle(BundleHandle core) noexcept { return Bundle(std::move(core)); }
    static const BundleHandle& core(const Bundle& bundle) noexcept { return bundle.core_; }
    static BundleContext context(BundleHandle core, std::shared_ptr<ContextState> state) noexcept {
        return {std::move(core), std::move(state)};
    }
    /// Throws IllegalStateException.
    static std::pair<BundleHandle, std::shared_ptr<ContextState>> valid(const BundleContext& context) {
        context.valid();
        return {context.bundle_, context.state_};
    }
};

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
