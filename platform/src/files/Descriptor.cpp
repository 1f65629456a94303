#include "files/Descriptor.hpp"

#include <fcntl.h>
#include <string_view>

namespace varnek::files::detail {

Descriptor openAt(int folder, const char* path, int flags, unsigned mode) noexcept {
    return Descriptor(
        uninterrupted([&] { return ::openat(folder, path, flags | O_CLOEXEC | O_NOCTTY, mode); }));
}

int flush(int fd) noexcept {
    if (uninterrupted([&] { return ::fsync(fd); }) == 0)
        return 0;
    return errno == EINVAL || errno == ENOTSUP || errno == ENOSYS ? 0 : errno;
}

bool isPlainName(std::string_view name) noexcept {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos &&
           name.find('\0') == name.npos;
}

} // namespace varnek::files::detail
