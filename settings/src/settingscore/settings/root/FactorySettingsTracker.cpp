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
#include <type_traits>

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

void requireName(const std::string& name) {
    if (name.empty())
        throw std::runtime_error("the name of the group is empty");
}

/// Without memory nothing is said.
void logException() noexcept {
    try {
        VARNEK_LOG(rootLog, error) << "Exception caught: " << causeOfCurrentException();
    } catch (...) {
    }
}

// The name comes first, for what is told of one that then throws.
void ask(FactorySettingsTracker::Service& service) {
    const DefinesHere definesHere;
    service.name = service.code->getToolboxGroupName();
    requireName(service.name);
    service.isVisible = service.code->isVisible();
    service.parent = service.code->getParentName();
}
void ask(FactorySettingsTracker::Loader& loader) {
    const DefinesHere definesHere;
    loader.name = loader.code->getName();
    requireName(loader.name);
    static_cast<void>(loader.code->isHidden()); // says so now, or never
}

} // namespace

/// What the framework calls when services come and go. As long as the tracker.
template <class Interface>
class FactorySettingsTracker::Customizer : public ServiceTrackerCustomizer<Interface> {
    using Entry = std::conditional_t<std::is_same_v<Interface, FactorySettings>, Service, Loader>;

  public:
    Customizer(FactorySettingsTracker& tracker, BundleContext context)
        : tracker_(tracker), context_(std::move(context)) {}

    std::shared_ptr<Interface> AddingService(const ServiceReference<Interface>& reference) override {
        auto service = context_.GetService(reference);
        if (service == nullptr || !tracker_.enterUnlessBroken(Entry{service}))
            return nullptr; // not tracked
        return service;
    }
    void ModifiedService(const ServiceReference<Interface>&, const std::shared_ptr<Interface>&) override {}
    void RemovedService(const ServiceReference<Interface>&,
                        const std::shared_ptr<Interface>& service) override {
        tracker_.leave(Entry{service});
    }

  private:
    FactorySettingsTracker& tracker_;
    BundleContext context_;
};

FactorySettingsTracker& FactorySettingsTracker::start() {
    static thread_local FactorySettingsTracker* starting = nullptr;
    if (starting != nullptr) // services and bundles that are started here define settings already
        return *starting;
    static auto* const tracker = [] {
        const BuildsHere buildsHere; // a tree that is asked for there would need what is just being made
        VARNEK_LOG(rootLog, info) << "Create the Microservice tracker";
        const BundleContext context = serviceContext();
        const struct End {
            ~End() { starting = nullptr; }
        } end{};
        std::unique_ptr<FactorySettingsTracker> made(new FactorySettingsTracker);
        starting = made.get();
        made->track<FactorySettings>(context);
        made->track<TopLevelFactoryFileLoader>(context);
        made->startFolders(context);
        return made.release();
    }();
    return *tracker;
}

template <class Interface>
void FactorySettingsTracker::track(const BundleContext& context) {
    auto customizer = std::make_shared<Customizer<Interface>>(*this, context);
    auto tracker = std::make_shared<ServiceTracker<Interface>>(context, customizer.get());
    tracker->Open();
    open_.push_back({std::move(customizer), std::move(tracker)});
}

/// What goes wrong is noted: settings are there without bundles, too.
void FactorySettingsTracker::startFolders(const BundleContext& context) {
    std::filesystem::path root;
    try {
        root = installationRoot();
    } catch (...) {
        note({"the folder of the installation", causeOfCurrentException()});
    }
    if (root.empty())
        return;
    for (const std::string_view folder : bundleFolders)
        startFolder(context, root / nativeFolder(folder));
}

void FactorySettingsTracker::startFolder(const BundleContext& context, const std::filesystem::path& folder) {
    try {
        for (const auto& started : varnek::bundles::startBundles(context, folder, isTrusted))
            if (started.outcome == varnek::bundles::LibraryOutcome::failed)
                note({started.library.string(), started.problem});
            else if (started.outcome == varnek::bundles::LibraryOutcome::refused)
                note({started.library.string(), "others than its owner can write it"});
    } catch (const varnek::files::FileError& failure) {
        if (failure.kind() != varnek::files::FileErrorKind::notFound)
            note({folder.string(), failure.what()});
    } catch (...) {
        note({folder.string(), causeOfCurrentException()});
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
bool FactorySettingsTracker::enterUnlessBroken(Entry entry) noexcept {
    return unlessBroken(entry, [&] {
        ask(entry);
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
        leave(entry);
        noteBroken(entry.name);
        return false;
    }
}

/// What is wrong with it is being handled. Without memory nobody learns of it.
void FactorySettingsTracker::noteBroken(const std::string& name) noexcept {
    try {
        note({name.empty() ? "a toolbox without a name" : "toolbox " + name, causeOfCurrentException()});
    } catch (...) {
    }
}

template <class Key, class Entry>
bool FactorySettingsTracker::enterOnce(Known<Key, Entry>& known, const Key& key, const Entry& entry) {
    auto kept = std::make_shared<const Entry>(entry);
    const std::lock_guard lock(mutex_);
    if (known.inForce.try_emplace(key, Arrived<Entry>{kept, arrivals_ + 1}).second) {
        ++arrivals_;
        return true;
    }
    VARNEK_LOG(rootLog, warning) << "Toolbox " << entry.name << " is already registered";
    known.waiting.emplace(key, std::move(kept));
    return false;
}

/// The next of its name takes its place at once: it may leave, too, while its code runs.
template <class Key, class Entry>
void FactorySettingsTracker::leave(Known<Key, Entry>& known, const Entry& entry) noexcept {
    Shared<Entry> gone, next;
    {
        const std::lock_guard lock(mutex_); // the caller holds the code, too
        std::erase_if(known.waiting, [&](const auto& other) { return other.second->code == entry.code; });
        const auto left = std::find_if(known.inForce.begin(), known.inForce.end(), [&](const auto& other) {
            return other.second.entry->code == entry.code;
        });
        if (left == known.inForce.end())
            return;
        if (const auto waiting = known.waiting.find(left->first); waiting != known.waiting.end()) {
            next = waiting->second;
            left->second = {next, ++arrivals_};
            known.waiting.erase(waiting);
        } else {
            gone = std::move(left->second.entry); // what it said of itself, too
            known.inForce.erase(left);
        }
    }
    if (gone != nullptr)
        try {
            leaveTrees(*gone);
        } catch (...) { // the framework goes on
            logException();
        }
    if (next != nullptr)
        unlessBroken(*next, [&] { addToTrees(*next); });
}

bool FactorySettingsTracker::enter(const Service& service) {
    return enterOnce(services_, Name(service.parent, service.name), service);
}

bool FactorySettingsTracker::enter(const Loader& loader) {
    return enterOnce(loaders_, loader.name, loader);
}

void FactorySettingsTracker::addToTrees(const Service& service) {
    VARNEK_LOG(rootLog, info) << "Tracker:";
    if (!service.parent.empty())
        VARNEK_LOG(rootLog, info) << "Subgroup Factory File Microservice for " << service.parent << " : "
                                  << service.name;
    addToAllTrees(service);
}

void FactorySettingsTracker::leaveTrees(const Service& service) {
    leaveAllTrees(service);
}

void FactorySettingsTracker::addToTrees(const Loader& loader) {
    VARNEK_LOG(rootLog, info) << "Tracker:";
    VARNEK_LOG(rootLog, info) << "Top level Factory File Loader: " << loader.name;
    addLoaderToAllTrees(loader);
}

std::optional<FactorySettingsTracker::Service> FactorySettingsTracker::find(const std::string& group) const {
    const std::lock_guard lock(mutex_);
    const auto found = services_.inForce.find(Name({}, group));
    return found == services_.inForce.end() ? std::nullopt : std::optional(*found->second.entry);
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
            services.push_back(*service.entry);
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
        loaders.push_back(*loader.entry);
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
            services.push_back(*service.entry);
    return services;
}

std::vector<FactorySettingsTracker::Loader>
FactorySettingsTracker::loadersSince(std::uint64_t arrivals) const {
    std::vector<Loader> loaders;
    const std::lock_guard lock(mutex_);
    for (const auto& [name, loader] : loaders_.inForce)
        if (loader.number > arrivals)
            loaders.push_back(*loader.entry);
    return loaders;
}

} // namespace settings::core::detail
