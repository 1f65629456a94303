/// A file descriptor and its owner.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vksettings {

class Descriptor {
  public:
    /// std::system_error, with `what`, when the call that made it has failed.
    Descriptor(int fd, const char* what) : fd_(fd) {
        if (fd < 0)
            throw std::system_error(errno, std::generic_category(), what);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { ::close(fd_); }
    int get() const noexcept { return fd_; }

  private:
    const int fd_;
};

} // namespace vksettings
