#include "cppmicroservices/Constants.h"
#include "cppmicroservices/GetBundleContext.h"
#include "cppmicroservices/SharedLibraryException.h"
#include "microservices/FrameworkCore.hpp"
#include "varnek/modules/ModuleError.hpp"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {
namespace {

using CreateActivator = BundleActivator*();
using DestroyActivator = void(BundleActivator*);
using GetContextHolder = ContextHolder*();

std::string failureText(const BundleCore& bundle, const char* what, const char* cause) {
    return "Bundle " + std::to_string(bundle.id) + " (location= " + bundle.location + ") " + what +
           " failed: " + cause;
}

template <class Function>
Function* findFunction(const BundleCore& bundle, const char* prefix) {
    return reinterpret_cast<Function*>(bundle.module->findSymbol(prefix + bundle.description.name));
}

void setContextOfLibrary(const BundleCore& bundle, BundleContext context) {
    if (auto* holder = findFunction<GetContextHolder>(bundle, "varnek_services_context_"))
        holder()->set(std::move(context));
}

void loadLibrary(BundleCore& bundle, const Bundle& self) {
    try {
        bundle.module = varnek::modules::Module::load(std::filesystem::absolute(bundle.location));
    } catch (const varnek::modules::ModuleError& failure) {
        throw SharedLibraryException(std::make_error_code(std::errc::executable_format_error),
                                     failure.cause(), self);
    }
}

ActivatorHandle createActivator(const BundleCore& bundle) {
    auto* create = findFunction<CreateActivator>(bundle, "varnek_services_create_activator_");
    auto* destroy = findFunction<DestroyActivator>(bundle, "varnek_services_destroy_activator_");
    if (create == nullptr || destroy == nullptr)
        throw std::runtime_error(
            "the library exports no activator for the symbolic name \"" + bundle.description.name +
            "\"; a library that was built for another implementation of the service framework "
            "cannot be used");
    return {create(), destroy};
}

} // namespace

/// Keeps other threads from starting and stopping the bundle, without holding the lock meanwhile.
class FrameworkCore::Operation {
  public:
    Operation(FrameworkCore& framework, BundleCore& bundle) : framework_(framework), bundle_(bundle) {
        Lock lock(framework_.mutex_);
        refuseToWaitForThisThread();
        framework_.awaited_.emplace(std::this_thread::get_id(), &bundle_);
        framework_.changed_.wait(lock, [&] { return bundle_.operation == std::thread::id(); });
        framework_.awaited_.erase(std::this_thread::get_id());
        if (bundle_.state == Bundle::STATE_UNINSTALLED)
            throw std::logic_error("Bundle " + std::to_string(bundle_.id) +
                                   " (location= " + bundle_.location + ") is uninstalled");
        bundle_.operation = std::this_thread::get_id();
    }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    ~Operation() {
        const std::lock_guard lock(framework_.mutex_);
        bundle_.operation = {};
        framework_.changed_.notify_all();
    }

  private:
    /// Activators start and stop other bundles: theirs may wait for ours.
    void refuseToWaitForThisThread() const {
        const BundleCore* next = &bundle_;
        while (next->operation != std::this_thread::get_id()) {
            const auto waiting = framework_.awaited_.find(next->operation);
            if (waiting == framework_.awaited_.end())
                return;
            next = waiting->second;
        }
        throw std::logic_error("Bundle " + std::to_string(bundle_.id) + " (location= " + bundle_.location +
                               ") is being started or stopped by this thread" +
                               (next == &bundle_ ? "" : ", through another bundle"));
    }

    FrameworkCore& framework_;
    BundleCore& bundle_;
};

void FrameworkCore::start(BundleCore& bundle) {
    const Operation operation(*this, bundle);
    std::shared_ptr<ContextState> context;
    bool resolved = true;
    {
        const std::lock_guard lock(mutex_);
        if (bundle.state == Bundle::STATE_ACTIVE)
            return;
        if ((systemBundle().state & (Bundle::STATE_STARTING | Bundle::STATE_ACTIVE)) == 0)
            throw std::runtime_error(failureText(bundle, "start", "the framework is not running"));
        context = std::make_shared<ContextState>();
        context->bundleId = bundle.id;
        bundle.context = context;
        resolved = bundle.state == Bundle::STATE_RESOLVED;
        bundle.state = Bundle::STATE_STARTING;
    }
    if (!resolved)
        tell(BundleEvent::BUNDLE_RESOLVED, bundle);
    tell(BundleEvent::BUNDLE_STARTING, bundle);
    try {
        activate(bundle, context);
    } catch (const SharedLibraryException&) {
        deactivate(bundle, context);
        throw;
    } catch (const std::exception& failure) {
        const std::string text = failureText(bundle, "start", failure.what());
        deactivate(bundle, context);
        throw std::runtime_error(text);
    } catch (...) {
        deactivate(bundle, context);
        throw std::runtime_error(failureText(bundle, "start", "not a standard exception"));
    }
    setState(bundle, Bundle::STATE_ACTIVE);
    tell(BundleEvent::BUNDLE_STARTED, bundle);
}

void FrameworkCore::activate(BundleCore& bundle, const std::shared_ptr<ContextState>& context) {
    const auto& headers = bundle.description.headers;
    const auto header = headers.find(Constants::BUNDLE_ACTIVATOR);
    if (header == headers.end())
        return;
    const bool* wanted = any_cast<bool>(&header->second);
    if (wanted == nullptr)
        report(FrameworkEvent::FRAMEWORK_WARNING, bundle.id,
               "The header " + Constants::BUNDLE_ACTIVATOR + " of the bundle at " + bundle.location +
                   " is no bool; the activator is not used.");
    if (wanted == nullptr || !*wanted)
        return;
    const BundleHandle self = handle(bundle);
    loadLibrary(bundle, Handles::bundle(self));
    setContextOfLibrary(bundle, Handles::context(self, context));
    bundle.activator = createActivator(bundle);
    bundle.activator->Start(Handles::context(self, context));
}

void FrameworkCore::deactivate(BundleCore& bundle, const std::shared_ptr<ContextState>& context) {
    listeners_.close(*context); // they may use the activator
    bundle.activator.reset();
    registry_.removeAll(*context);
    registry_.invalidate(*context);
    if (bundle.module)
        setContextOfLibrary(bundle, BundleContext());
    {
        const std::lock_guard lock(mutex_);
        bundle.context = nullptr;
        bundle.state = Bundle::STATE_RESOLVED;
    }
    tell(BundleEvent::BUNDLE_STOPPED, bundle);
}

void FrameworkCore::stop(BundleCore& bundle) {
    const Operation operation(*this, bundle);
    stopHeld(bundle);
}

void FrameworkCore::stopHeld(BundleCore& bundle) {
    std::shared_ptr<ContextState> context;
    {
        const std::lock_guard lock(mutex_);
        if (bundle.state != Bundle::STATE_ACTIVE)
            return;
        bundle.state = Bundle::STATE_STOPPING;
        context = bundle.context;
    }
    tell(BundleEvent::BUNDLE_STOPPING, bundle);
    std::string failed;
    try {
        if (bundle.activator)
            bundle.activator->Stop(Handles::context(handle(bundle), context));
    } catch (const std::exception& failure) {
        failed = failureText(bundle, "stop", failure.what());
    } catch (...) {
        failed = failureText(bundle, "stop", "not a standard exception");
    }
    deactivate(bundle, context);
    if (!failed.empty())
        throw std::runtime_error(failed);
}

void FrameworkCore::uninstall(BundleCore& bundle) {
    if (bundle.id == 0)
        throw std::runtime_error("the framework itself cannot be uninstalled");
    const Operation operation(*this, bundle);
    try {
        stopHeld(bundle);
    } catch (const std::runtime_error& failure) {
        report(FrameworkEvent::FRAMEWORK_WARNING, bundle.id, failure.what(), std::current_exception());
    }
    {
        const std::lock_guard lock(mutex_);
        bundle.state = Bundle::STATE_UNINSTALLED;
        for (auto place = byPlace_.begin(); place != byPlace_.end();) {
            std::erase(place->second, &bundle);
            place = place->second.empty() ? byPlace_.erase(place) : std::next(place);
        }
    }
    tell(BundleEvent::BUNDLE_UNRESOLVED, bundle);
    tell(BundleEvent::BUNDLE_UNINSTALLED, bundle);
}

void FrameworkCore::setState(BundleCore& bundle, Bundle::State state) {
    const std::lock_guard lock(mutex_);
    bundle.state = state;
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
