/// Where the service behind settings::security comes from.
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "settingscore/security/KeyManager.hpp"

#include <filesystem>
#include <functional>
#include <memory>

namespace settings::security::detail {

/// Replaced by hosts and tests; works as it is made. Both functions are called without a lock, on any thread.
struct PluginSource {
    /// Empty: core::installationRoot(). An empty path: no plug-in.
    std::function<std::filesystem::path()> installationRoot;
    /// The context in which the plug-in is installed; empty: a framework that this room keeps for itself.
    std::function<cppmicroservices::BundleContext()> context;
};

/// Replaces the source and returns the one before. Bundles that are installed already stay. Thread-safe.
PluginSource setPluginSource(PluginSource source);

/// The service in charge, never null. When there is none yet, installs and starts the bundles in the plug-in
/// folder: the libraries with a manifest ("<library>.json") beside them that only their owner can write. Logs
/// "failed to load settings security plugin" and raises ErrorLoadingLibrary when there is still none then.
/// Thread-safe; runs code of the plug-in, without a lock.
std::shared_ptr<KeyManager> keyManager();

} // namespace settings::security::detail
