// File descriptors: ownership, and system calls that an interruption makes no difference to.
#pragma once

#include <cerrno>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace varnek::files::detail {

/// Repeats a call while it is interrupted; returns what the call returns, with errno set.
template <class Call>
auto uninterrupted(Call call) noexcept {
    decltype(call()) result;
    do
        result = call();
    while (result == -1 && errno == EINTR);
    return result;
}

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) noexcept : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() { close(); }

    explicit operator bool() const noexcept { return fd_ >= 0; }
    int get() const noexcept { return fd_; }

    /// 0 or the error. The descriptor is gone either way: an interrupted close has closed it too.
    int close() noexcept {
        if (fd_ < 0)
            return 0;
        const int result = ::close(std::exchange(fd_, -1));
        return result == 0 || errno == EINTR ? 0 : errno;
    }

  private:
    int fd_ = -1;
};

/// Opens `path` relative to `folder` (or AT_FDCWD); close-on-exec always.
Descriptor openAt(int folder, const char* path, int flags, unsigned mode = 0) noexcept;

/// 0 or the error; a file system that cannot flush this kind of descriptor counts as done.
int flush(int fd) noexcept;

/// A single component that names an entry of a folder: not empty, no separator, no NUL, not a dot name.
bool isPlainName(std::string_view name) noexcept;

} // namespace varnek::files::detail
