#include "varnek/host/Environment.hpp"

#include "host/Variable.hpp"
#include "varnek/files/PathText.hpp"

#include <cstdlib>

namespace varnek::host {

std::optional<std::string> variable(const std::string& name) {
    const char* value = ::secure_getenv(name.c_str());
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

std::optional<std::filesystem::path> absolutePathVariable(const std::string& name) {
    std::string value = variable(name).value_or("");
    while (value.size() > 1 && value.back() == '/')
        value.pop_back();
    return value.starts_with('/') ? std::optional<std::filesystem::path>(value) : std::nullopt;
}

std::optional<std::u16string> environmentVariable(std::string_view name) {
    const auto value = variable(std::string(name));
    return value ? std::optional(files::utf16FromPath(*value)) : std::nullopt;
}

} // namespace varnek::host
