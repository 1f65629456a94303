/// The program that is running.
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>

namespace varnek::host {

/// Its absolute path without symbolic links. Throws HostError. Thread-safe.
VARNEK_EXPORT std::filesystem::path executablePath();

} // namespace varnek::host
