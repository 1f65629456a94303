// File descriptors, also those that a child of fork() must not keep: it would hold up connections and locks
// of its parent.
#pragma once

#include <cerrno>
#include <mutex>
#include <utility>

namespace varnek::spf {

/// Owns a descriptor that children of fork() may keep.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) noexcept : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor();

    explicit operator bool() const noexcept { return fd_ >= 0; }
    int get() const noexcept { return fd_; }

  private:
    int fd_ = -1;
};

/// Whether this process is the child of one that had begun to use remote services. Set for ever.
bool isForkChild() noexcept;

/// From now on children of fork() are told.
void watchForks();

/// Owns a socket or the file of a lock. Children of fork() close it. Moved and destroyed by one thread at a
/// time.
class GuardedDescriptor {
  public:
    GuardedDescriptor() = default;
    /// `open` returns a descriptor, or -1 with errno, which is kept. No fork() happens between that and here.
    template <class Open>
    static GuardedDescriptor open(Open open) {
        const std::lock_guard lock(forkMutex());
        GuardedDescriptor result;
        if (!hasRoom())
            return result;
        result.fd_ = open();
        if (result.fd_ >= 0)
            enter(result.fd_);
        return result;
    }
    GuardedDescriptor(GuardedDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    GuardedDescriptor& operator=(GuardedDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    /// Ends the connection, also where somebody has a copy of the descriptor. Leaves errno as it was.
    ~GuardedDescriptor();

    explicit operator bool() const noexcept { return fd_ >= 0; }
    int get() const noexcept { return fd_; }

  private:
    static std::mutex& forkMutex(); // held while the process forks
    static bool hasRoom() noexcept; // else errno tells
    static void enter(int fd) noexcept;

    int fd_ = -1;
};

} // namespace varnek::spf
