/// Where plug-ins stand and which of them may be loaded.
#pragma once

#include <filesystem>

namespace settings::core::detail {

/// The folder of plug-ins below an installation.
std::filesystem::path pluginFolder(const std::filesystem::path& installationRoot);

/// Whether nobody but its owner can change the library. Throws std::filesystem::filesystem_error.
bool isTrusted(const std::filesystem::path& library);

} // namespace settings::core::detail
