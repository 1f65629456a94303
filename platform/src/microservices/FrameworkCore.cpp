#include "microservices/FrameworkCore.hpp"

#include "cppmicroservices/Constants.h"
#include "varnek/bundles/ManifestFile.hpp"
#include "varnek/log/Channel.hpp"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {
namespace {

namespace fs = std::filesystem;

varnek::log::Channel channel("varnek::microservices");

[[noreturn]] void refuseInstallation(const std::string& location, const std::string& cause) {
    throw std::runtime_error("Failed to install bundle library at " + location + ": " + cause);
}

std::vector<BundleDescription> descriptionsOf(const fs::path& library, const std::string& location,
                                              const AnyMap& manifests) {
    try {
        return describe(manifests.empty() ? varnek::bundles::readManifests(library) : manifests);
    } catch (const std::exception& failure) {
        refuseInstallation(location, failure.what());
    }
}

BundleDescription systemDescription() {
    BundleDescription description;
    description.name = Constants::SYSTEM_BUNDLE_SYMBOLICNAME;
    description.headers[Constants::BUNDLE_SYMBOLICNAME] = description.name;
    return description;
}

} // namespace

FrameworkCore::FrameworkCore(const FrameworkConfiguration& configuration, std::ostream* log)
    : properties_(configuration),
      listeners_([this](long bundleId, const std::string& text, std::exception_ptr thrown) {
          report(FrameworkEvent::FRAMEWORK_ERROR, bundleId, text, std::move(thrown));
      }),
      log_(log) {
    all_.push_back(
        std::make_unique<BundleCore>(*this, 0, Constants::SYSTEM_BUNDLE_LOCATION, systemDescription()));
}

FrameworkCore::~FrameworkCore() {
    registry_.clear(); // registrations may live on in references
    if (!stopper_.joinable())
        return;
    if (stopper_.get_id() == std::this_thread::get_id()) // it held the last handle
        stopper_.detach();
    else
        stopper_.join();
}

Any FrameworkCore::property(const std::string& key) const {
    const auto found = properties_.find(key);
    return found != properties_.end() ? found->second : Any();
}

std::vector<BundleHandle> FrameworkCore::install(const std::string& location, const AnyMap& manifests) {
    const fs::path library = fs::absolute(location).lexically_normal();
    if (auto installed = bundlesAt(location); !installed.empty())
        return installed;
    if (!fs::exists(library))
        throw std::runtime_error(location + " does not exist");
    return add(library.native(), location, descriptionsOf(library, location, manifests));
}

std::vector<BundleHandle> FrameworkCore::add(const std::string& place, const std::string& location,
                                             std::vector<BundleDescription> descriptions) {
    std::vector<std::unique_ptr<BundleCore>> added;
    std::vector<BundleHandle> handles;
    Lock lock(mutex_);
    if (const auto found = byPlace_.find(place); found != byPlace_.end()) { // another thread was faster
        for (BundleCore* bundle : found->second)
            handles.push_back(handle(*bundle));
        return handles;
    }
    const auto clash = [&](const std::unique_ptr<BundleCore>& other, const BundleDescription& description) {
        return other->state != Bundle::STATE_UNINSTALLED && other->description.name == description.name &&
               other->description.version == description.version;
    };
    for (BundleDescription& description : descriptions) {
        for (const auto* bundles : {&all_, &added})
            for (const auto& other : *bundles)
                if (clash(other, description))
                    refuseInstallation(location, "the bundle " + description.name + " " +
                                                     description.version.ToString() + " is installed from " +
                                                     other->location);
        const auto id = static_cast<long>(all_.size() + added.size());
        added.push_back(std::make_unique<BundleCore>(*this, id, location, std::move(description)));
        handles.push_back(handle(*added.back()));
    }
    all_.reserve(all_.size() + added.size());
    auto& here = byPlace_[place];
    for (const auto& bundle : added)
        here.push_back(bundle.get());
    std::ranges::move(added, std::back_inserter(all_));
    lock.unlock();
    for (const auto& bundle : handles)
        tell(BundleEvent::BUNDLE_INSTALLED, *bundle);
    return handles;
}

BundleHandle FrameworkCore::find(long id) {
    const std::lock_guard lock(mutex_);
    if (id < 0 || static_cast<std::size_t>(id) >= all_.size())
        return nullptr;
    BundleCore& bundle = *all_[static_cast<std::size_t>(id)];
    return bundle.state != Bundle::STATE_UNINSTALLED ? handle(bundle) : nullptr;
}

std::vector<BundleHandle> FrameworkCore::bundles() {
    std::vector<BundleHandle> handles;
    const std::lock_guard lock(mutex_);
    for (const auto& bundle : all_)
        if (bundle->state != Bundle::STATE_UNINSTALLED)
            handles.push_back(handle(*bundle));
    return handles;
}

std::vector<BundleHandle> FrameworkCore::bundlesAt(const std::string& location) {
    const std::string place = fs::absolute(location).lexically_normal();
    std::vector<BundleHandle> handles;
    const std::lock_guard lock(mutex_);
    if (const auto found = byPlace_.find(place); found != byPlace_.end())
        for (BundleCore* bundle : found->second)
            handles.push_back(handle(*bundle));
    return handles;
}

Bundle::State FrameworkCore::state(const BundleCore& bundle) const {
    const std::lock_guard lock(mutex_);
    return bundle.state;
}

std::shared_ptr<ContextState> FrameworkCore::context(const BundleCore& bundle) const {
    const std::lock_guard lock(mutex_);
    return bundle.context;
}

void FrameworkCore::init() {
    std::thread finished; // of the stop before
    {
        Lock lock(mutex_);
        BundleCore& self = systemBundle();
        changed_.wait(lock, [&] { return self.state != Bundle::STATE_STOPPING; });
        if (self.state == Bundle::STATE_STARTING || self.state == Bundle::STATE_ACTIVE)
            return;
        self.context = std::make_shared<ContextState>();
        setSystemState(Bundle::STATE_STARTING);
        finished.swap(stopper_);
    }
    if (finished.joinable())
        finished.join();
}

void FrameworkCore::startFramework() {
    init();
    {
        const std::lock_guard lock(mutex_);
        if (systemBundle().state != Bundle::STATE_STARTING)
            return;
        setSystemState(Bundle::STATE_ACTIVE);
    }
    report(FrameworkEvent::FRAMEWORK_STARTED, 0, "the framework has started");
}

void FrameworkCore::beginStop() {
    const std::lock_guard lock(mutex_);
    BundleCore& self = systemBundle();
    if (self.state != Bundle::STATE_STARTING && self.state != Bundle::STATE_ACTIVE)
        return;
    stopper_ = std::thread([kept = shared_from_this()] { kept->stopAll(); }); // waits for our lock
    setSystemState(Bundle::STATE_STOPPING);
}

void FrameworkCore::stopAll() noexcept {
    try {
        auto installed = bundles();
        for (auto bundle = installed.rbegin(); bundle != installed.rend(); ++bundle)
            try {
                if ((*bundle)->id != 0)
                    stop(**bundle);
            } catch (...) {
                reportThrown((*bundle)->id, "");
            }
    } catch (...) {
        reportThrown(0, "");
    }
    BundleCore& self = systemBundle();
    const auto ending = context(self);
    ending->ending = true;
    registry_.removeAll(*ending);
    report(FrameworkEvent::FRAMEWORK_STOPPED, 0, "the framework stops");
    listeners_.close(*ending);
    registry_.invalidate(*ending);
    const std::lock_guard lock(mutex_);
    self.context = nullptr;
    setSystemState(Bundle::STATE_RESOLVED);
}

FrameworkEvent FrameworkCore::waitForStop(std::chrono::milliseconds timeout) {
    const auto self = Handles::bundle(handle(systemBundle()));
    const auto stopped = [&] {
        return (systemBundle().state & (Bundle::STATE_INSTALLED | Bundle::STATE_RESOLVED)) != 0;
    };
    std::thread finished;
    {
        Lock lock(mutex_);
        refuseToWaitForThisThread();
        if (timeout.count() == 0)
            changed_.wait(lock, stopped);
        else if (!changed_.wait_for(lock, timeout, stopped))
            return {FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT, self, "the framework has not stopped in time"};
        finished.swap(stopper_);
    }
    if (finished.joinable())
        finished.join();
    return {FrameworkEvent::FRAMEWORK_STOPPED, self, "the framework has stopped"};
}

void FrameworkCore::refuseToWaitForThisThread() const {
    const auto self = std::this_thread::get_id();
    if (stopper_.get_id() == self ||
        std::ranges::any_of(all_, [&](const auto& bundle) { return bundle->operation == self; }))
        throw std::logic_error("cannot wait for the end of the framework while it starts or stops a bundle "
                               "on this thread");
}

void FrameworkCore::setSystemState(Bundle::State state) {
    systemBundle().state = state;
    changed_.notify_all();
}

void FrameworkCore::report(FrameworkEvent::Type type, long bundleId, const std::string& text,
                           std::exception_ptr thrown) noexcept {
    try {
        logLine(type, text);
        const FrameworkEvent event(type, Handles::bundle(find(bundleId)), text, std::move(thrown));
        for (const std::string& failure : listeners_.tell(event))
            logLine(FrameworkEvent::FRAMEWORK_ERROR, failure);
    } catch (...) {
        // Only the report is lost.
    }
}

void FrameworkCore::reportThrown(long bundleId, const std::string& what) noexcept {
    try {
        throw;
    } catch (const std::exception& failure) {
        report(FrameworkEvent::FRAMEWORK_ERROR, bundleId, what + failure.what(), std::current_exception());
    } catch (...) {
        report(FrameworkEvent::FRAMEWORK_ERROR, bundleId, what + "not a standard exception",
               std::current_exception());
    }
}

void FrameworkCore::logLine(FrameworkEvent::Type type, const std::string& text) {
    if (type != FrameworkEvent::FRAMEWORK_ERROR && type != FrameworkEvent::FRAMEWORK_WARNING) {
        VARNEK_LOG(channel, debug) << text;
        return;
    }
    VARNEK_LOG(channel, warning) << text;
    if (log_ != nullptr) {
        const std::lock_guard lock(logMutex_);
        *log_ << text << std::endl;
    }
}

void FrameworkCore::tell(BundleEvent::Type type, BundleCore& bundle) noexcept {
    listeners_.tell(BundleEvent(type, Handles::bundle(handle(bundle))));
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
