#include "host/Variable.hpp"
#include "varnek/host/Folders.hpp"
#include "varnek/host/HostError.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace varnek::host {
namespace {

/// Whether only this user can enter the folder; a symbolic link is none.
bool isPrivate(const std::filesystem::path& folder) {
    struct stat status {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
           (status.st_mode & 0077) == 0;
}

} // namespace

std::filesystem::path runtimeFolder() {
    if (const auto folder = absolutePathVariable("XDG_RUNTIME_DIR"); folder && isPrivate(*folder))
        return *folder;
    const auto folder = temporaryFolder() / ("varnek-" + std::to_string(::geteuid()));
    const std::string subject = "the folder \"" + folder.native() + "\" for the session";
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        throw HostError(subject, std::system_category().message(errno));
    if (!isPrivate(folder))
        throw HostError(subject, "it is not a folder of this user alone");
    return folder;
}

} // namespace varnek::host
