#include "settingscore/settings/root/FactorySettingsTracker.hpp"

#include "cppmicroservices/ServiceTracker.h"
#include "settingscore/plugin/InstallationRoot.hpp"
#include "settingscore/plugin/PluginFolder.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/root/DefinesHere.hpp"
#include "settingscore/settings/root/LateSources.hpp"
#include "settingscore/settings/root/RootLog.hpp"
#include "varnek/bundles/BundleFolder.hpp"
#include "varnek/files/FileError.hpp"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace settings::core::detail {

namespace {

using cppmicroservices::BundleContext;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceTracker;
using cppmicroservices::ServiceTrackerCustomizer;
using varnek::settings::FactorySettings;
using varnek::settings::TopLevelFactoryFileLoader;

// In the order in which they are started, below the installation.
constexpr std::string_view bundleFolders[] = {
    R"(bin\win64\factory_settings_test)",
    R"(bin\win64\factory_settings\compute)",
    R"(bin\win64\factory_settings\session)",
    R"(bin\win64\factory_settings_plugins)",
};

/// The same folder on this platform.
std::filesystem::path nativeFolder(std::string_view relative) {
    constexpr std::string_view binaries = R"(bin\win64)";
    std::string path = "bin/linux64" + std::string(relative.substr(binaries.size()));
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::string nameOf(const FactorySettings& service) {
    return service.getToolboxGroupName();
}
std::string nameOf(const TopLevelFactoryFileLoader& loader) {
    return loader.getName();
}

/// The name; std::runtime_error for none.
template <class Entry>
std::string requiredName(const Entry& entry) {
    std::string name = nameOf(entry);
    if (name.empty())
        throw std::runtime_error("the name of the group is empty");
    return name;
}

/// How messages call what may not know its own name.
template <class Entry>
std::string toolboxOf(const Entry& entry) {
    try {
        return "toolbox " + requiredName(entry);
    } catch (...) {
        return "a toolbox without a name";
    }
}

} // namespace

/// What the framework calls when services come and go. Never destroyed.
template <class Interface>
class FactorySettingsTracker::Customizer : public ServiceTrackerCustomizer<Interface> {
  public:
    Customizer(FactorySettingsTracker& tracker, BundleContext context)
        : tracker_(tracker), context_(std::move(context)) {}

    std::shared_ptr<Interface> AddingService(const ServiceReference<Interface>& reference) override {
        auto service = context_.GetService(reference);
        if (service == nullptr || !tracker_.enterUnlessBroken(std::shared_ptr<const Interface>(service)))
            return nullptr; // not tracked
        return service;
    }
    void ModifiedService(const ServiceReference<Interface>&, const std::shared_ptr<Interface>&) override {}
    void RemovedService(const ServiceReference<Interface>&,
                        const std::shared_ptr<Interface>& service) override {
        tracker_.leave(std::shared_ptr<const Interface>(service));
    }

  private:
    FactorySettingsTracker& tracker_;
    BundleContext context_;
};

FactorySettingsTracker& FactorySettingsTracker::start() {
    static auto* const tracker = [] {
        VARNEK_LOG(rootLog, info) << "Create the Microservice tracker";
        std::unique_ptr<FactorySettingsTracker> made(new FactorySettingsTracker);
        made->track<FactorySettings>();
        made->track<TopLevelFactoryFileLoader>();
        made->startFolders();
        return made.release();
    }();
    return *tracker;
}

template <class Interface>
void FactorySettingsTracker::track() {
    const BundleContext context = serviceContext();
    auto customizer = std::make_shared<Customizer<Interface>>(*this, context);
    auto tracker = std::make_shared<ServiceTracker<Interface>>(context, customizer.get());
    tracker->Open();
    open_.push_back({std::move(customizer), std::move(tracker)});
}

void FactorySettingsTracker::startFolders() {
    const std::filesystem::path root = installationRoot();
    if (root.empty())
        return;
    for (const std::string_view folder : bundleFolders)
        try {
            for (const auto& started :
                 varnek::bundles::startBundles(serviceContext(), root / nativeFolder(folder), isTrusted))
                if (started.outcome == varnek::bundles::LibraryOutcome::failed)
                    note({started.library.string(), started.problem});
                else if (started.outcome == varnek::bundles::LibraryOutcome::refused)
                    note({started.library.string(), "others than its owner can write it"});
        } catch (const varnek::files::FileError& failure) {
            if (failure.kind() != varnek::files::FileErrorKind::notFound)
                note({(root / nativeFolder(folder)).string(), failure.what()});
        }
}

void FactorySettingsTracker::note(LoadProblem problem) {
    VARNEK_LOG(rootLog, error) << "Exception caught: " << problem.file << ": " << problem.message;
    const std::lock_guard lock(mutex_);
    problems_.push_back(std::move(problem));
}

std::vector<LoadProblem> FactorySettingsTracker::problems() const {
    const std::lock_guard lock(mutex_);
    return problems_;
}

/// One that cannot say what it is must not reach the trees, which would fail with it.
template <class Entry>
bool FactorySettingsTracker::enterUnlessBroken(const Entry& entry) noexcept {
    return unlessBroken(entry, [&] {
        if (enter(entry))
            addToTrees(entry);
    });
}

template <class Entry, class Step>
bool FactorySettingsTracker::unlessBroken(const Entry& entry, const Step& step) noexcept {
    try {
        step();
        return true;
    } catch (...) {
        std::string cause = causeOfCurrentException();
        leave(entry);
        note({toolboxOf(*entry), std::move(cause)});
        return false;
    }
}

template <class Key, class Entry>
bool FactorySettingsTracker::enterOnce(Known<Key, Entry>& known, const Key& key, const Entry& entry,
                                       const std::string& group) {
    const std::lock_guard lock(mutex_);
    if (known.inForce.try_emplace(key, Arrived<Entry>{entry, arrivals_ + 1}).second) {
        ++arrivals_;
        return true;
    }
    VARNEK_LOG(rootLog, warning) << "Toolbox " << group << " is already registered";
    known.waiting.emplace(key, entry);
    return false;
}

/// The next of its name takes its place at once: it may leave, too, while its code runs.
template <class Key, class Entry>
void FactorySettingsTracker::leave(Known<Key, Entry>& known, const Entry& entry) noexcept {
    Entry next;
    {
        const std::lock_guard lock(mutex_); // the caller holds the entry, too
        std::erase_if(known.waiting, [&](const auto& other) { return other.second == entry; });
        const auto left = std::find_if(known.inForce.begin(), known.inForce.end(),
                                       [&](const auto& other) { return other.second.entry == entry; });
        if (left == known.inForce.end())
            return;
        if (const auto waiting = known.waiting.find(left->first); waiting != known.waiting.end()) {
            next = waiting->second;
            left->second = {next, ++arrivals_};
            known.waiting.erase(waiting);
        } else {
            known.inForce.erase(left);
        }
    }
    if (next != nullptr)
        unlessBroken(next, [&] { addToTrees(next); });
}

bool FactorySettingsTracker::enter(const Service& service) {
    const DefinesHere definesHere;
    const std::string group = requiredName(*service);
    static_cast<void>(service->isVisible()); // says so now, or never
    return enterOnce(services_, Name(service->getParentName(), group), service, group);
}

bool FactorySettingsTracker::enter(const Loader& loader) {
    const DefinesHere definesHere;
    const std::string name = requiredName(*loader);
    static_cast<void>(loader->isHidden());
    return enterOnce(loaders_, name, loader, name);
}

void FactorySettingsTracker::addToTrees(const Service& service) {
    std::string group, parent;
    {
        const DefinesHere definesHere;
        group = requiredName(*service);
        parent = service->getParentName();
    }
    VARNEK_LOG(rootLog, info) << "Tracker:";
    if (!parent.empty())
        VARNEK_LOG(rootLog, info) << "Subgroup Factory File Microservice for " << parent << " : " << group;
    addToAllTrees(service);
}

void FactorySettingsTracker::addToTrees(const Loader& loader) {
    VARNEK_LOG(rootLog, info) << "Tracker:";
    VARNEK_LOG(rootLog, info) << "Top level Factory File Loader: " << requiredName(*loader);
    addLoaderToAllTrees(loader);
}

FactorySettingsTracker::Service FactorySettingsTracker::find(const std::string& group) const {
    const std::lock_guard lock(mutex_);
    const auto found = services_.inForce.find(Name({}, group));
    return found == services_.inForce.end() ? nullptr : found->second.entry;
}

std::vector<FactorySettingsTracker::Service> FactorySettingsTracker::topLevelServices() const {
    return servicesBelow({});
}

std::vector<FactorySettingsTracker::Service>
FactorySettingsTracker::servicesBelow(const std::string& parent) const {
    std::vector<Service> services;
    const std::lock_guard lock(mutex_);
    for (const auto& [name, service] : services_.inForce)
        if (name.first == parent)
            services.push_back(service.entry);
    return services;
}

bool FactorySettingsTracker::suppliesBelow(const std::string& topLevelGroup) const {
    const std::lock_guard lock(mutex_);
    return std::any_of(services_.inForce.begin(), services_.inForce.end(), [&](const auto& entry) {
        const std::string& parent = entry.first.first;
        return parent == topLevelGroup || parent.starts_with(topLevelGroup + '.');
    });
}

std::vector<FactorySettingsTracker::Loader> FactorySettingsTracker::loaders() const {
    std::vector<Loader> loaders;
    const std::lock_guard lock(mutex_);
    for (const auto& [name, loader] : loaders_.inForce)
        loaders.push_back(loader.entry);
    return loaders;
}

std::uint64_t FactorySettingsTracker::arrivals() const {
    const std::lock_guard lock(mutex_);
    return arrivals_;
}

std::vector<FactorySettingsTracker::Service>
FactorySettingsTracker::servicesSince(std::uint64_t arrivals) const {
    std::vector<Service> services;
    const std::lock_guard lock(mutex_);
    for (const auto& [name, service] : services_.inForce)
        if (service.number > arrivals)
            services.push_back(service.entry);
    return services;
}

std::vector<FactorySettingsTracker::Loader>
FactorySettingsTracker::loadersSince(std::uint64_t arrivals) const {
    std::vector<Loader> loaders;
    const std::lock_guard lock(mutex_);
    for (const auto& [name, loader] : loaders_.inForce)
        if (loader.number > arrivals)
            loaders.push_back(loader.entry);
    return loaders;
}

} // namespace settings::core::detail
