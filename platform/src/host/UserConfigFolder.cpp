#include "host/Variable.hpp"
#include "varnek/host/Folders.hpp"
#include "varnek/host/HostError.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

namespace varnek::host {
namespace {

std::filesystem::path homeFromUserDatabase() {
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    int error = 0;
    while ((error = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found)) == ERANGE)
        buffer.resize(buffer.size() * 2);
    if (found == nullptr || found->pw_dir == nullptr || *found->pw_dir != '/')
        throw HostError("the home folder of the user",
                        error != 0 ? std::system_category().message(error) : "the user database names none");
    return found->pw_dir;
}

} // namespace

std::filesystem::path userConfigFolder() {
    if (const auto folder = absolutePathVariable("XDG_CONFIG_HOME"))
        return *folder;
    const auto home = absolutePathVariable("HOME");
    return (home ? *home : homeFromUserDatabase()) / ".config";
}

} // namespace varnek::host
