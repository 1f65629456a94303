/// The program that is running, and the libraries in it.
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>

namespace varnek::host {

/// Its absolute path without symbolic links. Throws HostError. Thread-safe.
VARNEK_EXPORT std::filesystem::path executablePath();

/// The absolute path, without symbolic links, of the library or program that holds a function or variable.
/// Throws HostError. Thread-safe.
VARNEK_EXPORT std::filesystem::path modulePathOf(const void* address);

} // namespace varnek::host
