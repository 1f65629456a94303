#include "settingscore/plugin/PluginFunction.hpp"

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/exception/MessageText.hpp"
#include "settingscore/plugin/InstallationRoot.hpp"
#include "settingscore/plugin/PluginFolder.hpp"
#include "settingscore/plugin/SettingsPlugin.hpp"
#include "varnek/log/Channel.hpp"
#include "varnek/modules/Module.hpp"

#include <stdexcept>

namespace settings::core::detail {

using varnek::modules::Module;
using varnek::modules::ModuleHandle;

namespace {

varnek::log::Channel pluginLog("settings::core::settingValueValidators");

void checkInterface(const Module& module) {
    const void* const version = module.findSymbol("settingsPluginInterfaceVersion");
    if (version == nullptr)
        throw std::runtime_error("\"" + module.path().string() + "\" is no plug-in for settings");
    if (const auto made = *static_cast<const std::uint32_t*>(version);
        made != SETTINGS_PLUGIN_INTERFACE_VERSION)
        throw std::runtime_error("\"" + module.path().string() + "\" is made for version " +
                                 std::to_string(made) + " of the plug-in interface, not " +
                                 std::to_string(SETTINGS_PLUGIN_INTERFACE_VERSION));
}

ModuleHandle loadPlugin(const std::string& library) {
    VARNEK_LOG(pluginLog, info) << "utGetModule: " << library;
    try {
        const std::filesystem::path root = installationRoot();
        if (root.empty())
            throw std::runtime_error("the installation folder is not known");
        const auto file = varnek::modules::locateModule(pluginFolder(root), library);
        if (!isTrusted(file))
            throw std::runtime_error("others than its owner can write \"" + file.string() + "\"");
        ModuleHandle module = Module::load(file);
        checkInterface(*module);
        return module;
    } catch (const std::exception& failure) {
        throw exception::ErrorLoadingLibrary(library, exception::detail::utf16(failure.what()));
    }
}

} // namespace

/// One of `address` and `failure` is set.
struct PluginFunction::Outcome {
    ModuleHandle module;
    void* address = nullptr;
    std::shared_ptr<const varnek::exception::Exception> failure;
};

PluginFunction::PluginFunction(std::string library, std::string function)
    : library_(std::move(library)), function_(std::move(function)) {}

PluginFunction::~PluginFunction() = default;

const PluginFunction::Outcome& PluginFunction::outcome() const {
    {
        const std::lock_guard lock(mutex_);
        if (outcome_ != nullptr)
            return *outcome_;
    }
    auto found = std::make_unique<Outcome>();
    try {
        found->module = loadPlugin(library_);
        found->address = found->module->findSymbol(function_);
        if (found->address == nullptr)
            throw VARNEK::settings::core::CFunctionNotFound(library_, function_);
    } catch (const varnek::exception::Exception& failure) {
        found->failure = failure.clone();
    }
    const std::lock_guard lock(mutex_);
    if (outcome_ == nullptr)
        outcome_ = std::move(found);
    return *outcome_;
}

void* PluginFunction::address() const {
    const Outcome& result = outcome();
    if (result.failure != nullptr)
        result.failure->rethrow();
    return result.address;
}

} // namespace settings::core::detail
