#include "varnek/host/Executable.hpp"
#include "varnek/host/HostError.hpp"

#include <dlfcn.h>

namespace varnek::host {

std::filesystem::path executablePath() {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        throw HostError("the path of the running program", error.message());
    return path;
}

std::filesystem::path modulePathOf(const void* address) {
    constexpr std::string_view subject = "the path of a library";
    Dl_info info = {};
    if (::dladdr(address, &info) == 0 || info.dli_fname == nullptr)
        throw HostError(subject, "no library holds the address");
    std::error_code error;
    auto path = std::filesystem::canonical(info.dli_fname, error);
    if (error)
        throw HostError(subject, error.message());
    return path;
}

} // namespace varnek::host
