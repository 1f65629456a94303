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

std::filesystem::path folderOf(const std::string& name, const char* belowHome) {
    if (const auto folder = absolutePathVariable(name))
        return *folder;
    const auto home = absolutePathVariable("HOME");
    return (home ? *home : homeFromUserDatabase()) / belowHome;
}

} // namespace

std::filesystem::path userConfigFolder() {
    return folderOf("XDG_CONFIG_HOME", ".config");
}

std::filesystem::path userStateFolder() {
    return folderOf("XDG_STATE_HOME", ".local/state");
}

} // namespace varnek::host
