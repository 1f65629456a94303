#include "settingscore/security/SecurityPlugin.hpp"

#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkFactory.h"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/exception/MessageText.hpp"
#include "settingscore/plugin/InstallationRoot.hpp"
#include "settingscore/plugin/PluginFolder.hpp"
#include "varnek/bundles/BundleFolder.hpp"
#include "varnek/log/Channel.hpp"

#include <mutex>
#include <utility>

namespace settings::security {

using cppmicroservices::BundleContext;

namespace detail {

namespace {

varnek::log::Channel securityLog("settings::core::security");

constexpr const char* pluginName = "settings security plugin"; // names it in errors

std::mutex sourceMutex;
PluginSource pluginSource;

PluginSource currentSource() {
    const std::lock_guard lock(sourceMutex);
    return pluginSource;
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

std::shared_ptr<KeyManager> registeredIn(BundleContext context) {
    const auto reference = context.GetServiceReference<KeyManager>();
    return reference ? context.GetService(reference) : nullptr;
}

/// Starts what can be started; a library at fault does not keep the others back.
void startBundles(const std::filesystem::path& folder, const BundleContext& context) {
    using varnek::bundles::LibraryOutcome;
    for (const auto& start : varnek::bundles::startBundles(context, folder, core::detail::isTrusted)) {
        if (start.outcome == LibraryOutcome::refused)
            VARNEK_LOG(securityLog, error) << "others than its owner can write " << start.library.string();
        else if (start.outcome == LibraryOutcome::failed)
            VARNEK_LOG(securityLog, error) << start.problem;
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
            source.installationRoot ? source.installationRoot() : core::installationRoot();
        if (root.empty())
            throw std::runtime_error("the installation folder is not known");
        startBundles(core::detail::pluginFolder(root), context);
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
