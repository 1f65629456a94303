// Bundles of toolboxes, good ones and bad ones. Each test installs a copy of the library with the manifest of
// the bundle that it wants.

#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/BundleContext.h"
#include "settingscore/factoryfile/FactorySettings.hpp"
#include "varnek/host/HostInfo.hpp"

#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using cppmicroservices::BundleContext;
using varnek::data::Array;
using varnek::settings::FactoryGroup;
using varnek::settings::FactorySettings;
using varnek::settings::TopLevelFactoryFileLoader;

/// The bundles that were started, in order, for the test program to read.
void note(const std::string& bundle) {
    const char* before = std::getenv("STARTED_BUNDLES");
    ::setenv("STARTED_BUNDLES", ((before == nullptr ? "" : before) + bundle + " ").c_str(), 1);
}

using Define = std::function<void(FactoryGroup&)>;

Define one(double value) {
    return [value](FactoryGroup& group) {
        group.addSetting("x", {true, false, Array::scalar(value), {}, {}, false, false, {}});
    };
}

struct Settings : FactorySettings {
    Settings(std::string group, Define with) : name(std::move(group)), define(std::move(with)) {}
    std::string getToolboxGroupName() const override { return name; }
    void createFactorySettings(FactoryGroup& group) const override { define(group); }
    const std::string name;
    const Define define;
};

void add(BundleContext& context, const std::string& group, Define define) {
    static_cast<void>(
        context.RegisterService<FactorySettings>(std::make_shared<Settings>(group, std::move(define))));
}

struct NamelessSettings : Settings {
    NamelessSettings() : Settings("", one(1)) {}
    std::string getToolboxGroupName() const override { throw std::runtime_error("has no name"); }
};

struct UnsureSettings : Settings {
    UnsureSettings() : Settings("unsure", one(1)) {}
    bool isVisible() const override { throw std::runtime_error("cannot tell whether it is visible"); }
};

struct Loader : TopLevelFactoryFileLoader {
    Loader(std::string group, bool hidden, bool isBroken = false)
        : name(std::move(group)), isSecret(hidden), broken(isBroken) {}
    std::string getName() const override { return name; }
    bool isHidden() const override { return isSecret; }
    std::filesystem::path getFactoryFile() const override {
        if (broken)
            throw std::runtime_error("cannot find its file");
        return std::getenv("LOADED_FILES") / std::filesystem::path(name + ".vksettings");
    }
    const std::string name;
    const bool isSecret, broken;
};

void addLoader(BundleContext& context, const Loader& loader) {
    static_cast<void>(context.RegisterService<TopLevelFactoryFileLoader>(std::make_shared<Loader>(loader)));
}

struct Session : varnek::host::HostInfo {
    bool isSession() const override { return true; }
};

void startNothing(BundleContext&) {}
void startThrowing(BundleContext& context) {
    add(context, "halfway", one(1)); // goes with the bundle
    throw std::runtime_error("no licence");
}
void startTwins(BundleContext& context) {
    add(context, "twin", one(1));
    add(context, "twin", one(2));
}
void startBroken(BundleContext& context) {
    add(context, "faulty", [](FactoryGroup&) { throw std::runtime_error("cannot define anything"); });
    add(context, "", one(1));
    static_cast<void>(context.RegisterService<FactorySettings>(std::make_shared<NamelessSettings>()));
    static_cast<void>(context.RegisterService<FactorySettings>(std::make_shared<UnsureSettings>()));
    addLoader(context, Loader("lost", false, true));
    add(context, "sound", one(7));
}
void startLoaders(BundleContext& context) {
    addLoader(context, Loader("secret", true));
    addLoader(context, Loader("plain", false));
}
void startHost(BundleContext& context) {
    static_cast<void>(context.RegisterService<varnek::host::HostInfo>(std::make_shared<Session>()));
}

template <void (*work)(BundleContext&)>
class Activator : public cppmicroservices::BundleActivator {
  public:
    void Start(BundleContext context) override {
        note(context.GetBundle().GetSymbolicName());
        work(context);
    }
    void Stop(BundleContext) override {}
};

} // namespace

// The name of each bundle, as its manifest has it.
#define US_BUNDLE_NAME first
CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator<&startNothing>)
#undef US_BUNDLE_NAME
#define US_BUNDLE_NAME second
CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator<&startNothing>)
#undef US_BUNDLE_NAME
#define US_BUNDLE_NAME third
CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator<&startNothing>)
#undef US_BUNDLE_NAME
#define US_BUNDLE_NAME fourth
CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator<&startNothing>)
#undef US_BUNDLE_NAME
#define US_BUNDLE_NAME throwing
CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator<&startThrowing>)
#undef US_BUNDLE_NAME
#define US_BUNDLE_NAME twins
CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator<&startTwins>)
#undef US_BUNDLE_NAME
#define US_BUNDLE_NAME broken
CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator<&startBroken>)
#undef US_BUNDLE_NAME
#define US_BUNDLE_NAME loaders
CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator<&startLoaders>)
#undef US_BUNDLE_NAME
#define US_BUNDLE_NAME host
CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator<&startHost>)
#undef US_BUNDLE_NAME
