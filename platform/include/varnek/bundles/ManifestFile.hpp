/// The JSON file beside a library that says which bundles the library holds.
///
///     { "bundle.symbolic_name": "example", "bundle.activator": true, "bundle.version": "1.0" }
///
/// For a library of several bundles, an object of such manifests by their symbolic names.
#pragma once

#include "cppmicroservices/AnyMap.h"
#include "varnek/Export.hpp"

#include <filesystem>

namespace varnek::bundles {

/// Where the manifest of a library stands: "<library>.json".
VARNEK_EXPORT std::filesystem::path manifestFile(const std::filesystem::path& library);

/// The manifests by symbolic name, as BundleContext::InstallBundles takes them. Blocks on the disk. Throws
/// std::exception: the file is missing, larger than 1 MiB or no JSON of that shape.
VARNEK_EXPORT cppmicroservices::AnyMap readManifests(const std::filesystem::path& library);

} // namespace varnek::bundles
