/// Installs and starts the bundles of a folder.
#pragma once

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleContext.h"
#include "varnek/Export.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace varnek::bundles {

enum class LibraryOutcome : std::uint8_t {
    running = 0,  // all its bundles run
    noBundle = 1, // no manifest stands beside it: a library of another kind, which is not loaded
    refused = 2,  // the caller does not accept it; not loaded
    failed = 3,   // a bundle of it does not run
};

/// What came of one library.
struct LibraryStart {
    std::filesystem::path library;
    LibraryOutcome outcome = LibraryOutcome::running;
    std::string problem;                           // of a failed one, names library and bundle
    std::vector<cppmicroservices::Bundle> bundles; // those that are installed
};

/// Asked before a library and its manifest are used. What it throws makes the library fail.
using Acceptance = std::function<bool(const std::filesystem::path& library)>;

/// Installs and starts the bundles of all libraries (".so") in a folder, in the order of their names, on this
/// thread and with no lock held. A bundle that runs already is left alone, so that calling this again starts
/// nothing twice; one at fault does not keep the others back. Blocks on the disk. Throws files::FileError for
/// a folder that cannot be listed, cppmicroservices::IllegalStateException when the context is not valid.
VARNEK_EXPORT std::vector<LibraryStart> startBundles(cppmicroservices::BundleContext context,
                                                     const std::filesystem::path& folder,
                                                     const Acceptance& accepts = {});

} // namespace varnek::bundles
