#include "varnek/host/Executable.hpp"
#include "varnek/host/HostError.hpp"

namespace varnek::host {

std::filesystem::path executablePath() {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        throw HostError("the path of the running program", error.message());
    return path;
}

} // namespace varnek::host
