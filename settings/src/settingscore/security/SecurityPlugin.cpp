#include "settingscore/security/SecurityPlugin.hpp"

#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkFactory.h"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/exception/MessageText.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/host/Executable.hpp"
#include "varnek/log/Channel.hpp"

#include <mutex>
#include <utility>

namespace settings::security {

using cppmicroservices::BundleContext;

namespace detail {

namespace {

varnek::log::Channel securityLog("settings::core::security");

constexpr const char* pluginFolder = "bin/linux64/settings_plugins";
constexpr const char* libraryExtension = ".so";
constexpr const char* manifestExtension = ".json";
constexpr const char* pluginName = "settings security plugin"; // names it in errors

std::mutex sourceMutex;
PluginSource pluginSource;

PluginSource currentSource() {
    const std::lock_guard lock(sourceMutex);
    return pluginSource;
}

/// The prefix that this library is installed below: a host may keep it among its own libraries in
/// bin/linux64, `cmake --install` puts it where the build says. Nothing else is searched, because what is
/// found there is run.
std::filesystem::path ownInstallationRoot() {
    const auto library = varnek::host::modulePathOf(reinterpret_cast<const void*>(&setPluginSource));
    const std::filesystem::path folder = library.parent_path();
    const bool isAmongThoseOfTheHost =
        folder.filename() == "linux64" && folder.parent_path().filename() == "bin";
    return (folder / (isAmongThoseOfTheHost ? "../.." : SETTINGSCORE_PREFIX_FROM_LIBRARY)).lexically_normal();
}

/// Never stopped: services may be used until the process ends.
BundleContext ownContext() {
    static auto* const framework = [] {
        auto* made = new cppmicroservices::Framework(cppmicroservices::FrameworkFactory().NewFramework());
        made->Start();
        return made;
    }();
    return framework->GetBundleContext();
}

std::shared_ptr<KeyManager> registeredIn(const BundleContext& context) {
    const auto reference = context.GetServiceReference<KeyManager>();
    return reference ? context.GetService(reference) : nullptr;
}

/// Whether nobody but its owner can change the library.
bool isTrusted(const std::filesystem::path& library) {
    using std::filesystem::perms;
    const perms others = perms::group_write | perms::others_write;
    return (std::filesystem::status(library).permissions() & others) == perms::none;
}

bool isBundle(const std::filesystem::path& library) {
    std::filesystem::path manifest = library;
    return std::filesystem::is_regular_file(manifest += manifestExtension);
}

/// Starts what can be started; a library at fault does not keep the others back.
void startBundles(const std::filesystem::path& folder, BundleContext context) {
    for (const std::filesystem::path& library : varnek::files::listFiles(folder, libraryExtension)) {
        try {
            if (!isBundle(library))
                continue; // a plug-in of another kind
            if (!isTrusted(library)) {
                VARNEK_LOG(securityLog, error) << "others than its owner can write " << library.string();
                continue;
            }
            for (cppmicroservices::Bundle& bundle : context.InstallBundles(library.string()))
                bundle.Start();
        } catch (const std::exception& failure) {
            VARNEK_LOG(securityLog, error) << failure.what();
        }
    }
}

} // namespace

PluginSource setPluginSource(PluginSource source) {
    const std::lock_guard lock(sourceMutex);
    return std::exchange(pluginSource, std::move(source));
}

std::shared_ptr<KeyManager> keyManager() {
    std::string cause = "no key manager is registered";
    try {
        const PluginSource source = currentSource();
        const BundleContext context = source.context ? source.context() : ownContext();
        if (auto service = registeredIn(context))
            return service;
        const std::filesystem::path root =
            source.installationRoot ? source.installationRoot() : ownInstallationRoot();
        if (root.empty())
            throw std::runtime_error("the installation folder is not known");
        startBundles(root / pluginFolder, context);
        if (auto service = registeredIn(context))
            return service;
    } catch (const std::exception& failure) {
        cause = failure.what();
    }
    VARNEK_LOG(securityLog, error) << "failed to load settings security plugin";
    throw core::exception::ErrorLoadingLibrary(pluginName, core::exception::detail::utf16(cause));
}

} // namespace detail

void addSecret(const std::u16string& name, const std::string& secret) {
    detail::keyManager()->addSecret(name, secret);
}

std::string getSecret(const std::u16string& name) {
    return detail::keyManager()->getSecret(name);
}

std::string getSecretType() {
    return detail::keyManager()->getSecretType();
}

bool hasSessionKeyStored(const std::vector<std::u16string>& names) {
    return detail::keyManager()->hasSessionKeyStored(names);
}

} // namespace settings::security
