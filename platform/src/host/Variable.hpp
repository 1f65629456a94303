/// Environment variables as bytes.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace varnek::host {

/// Empty when not set, or in a process with more rights than its user.
std::optional<std::string> variable(const std::string& name);

/// The same without a separator at the end; empty also when it is no absolute path.
std::optional<std::filesystem::path> absolutePathVariable(const std::string& name);

} // namespace varnek::host
