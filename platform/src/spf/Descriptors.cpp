#include "spf/Descriptors.hpp"

#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <vector>

namespace varnek::spf {
namespace {

std::atomic<bool> isChild{false};

struct Guarded {
    Guarded() {
        ::pthread_atfork([] { all().mutex.lock(); }, [] { all().mutex.unlock(); }, [] { all().giveUp(); });
    }
    /// Never destroyed: threads may use it while the process ends.
    static Guarded& all() {
        static auto* const made = new Guarded;
        return *made;
    }
    void giveUp() noexcept {
        isChild = true;
        for (const int fd : descriptors)
            ::close(fd);
        descriptors.clear();
        mutex.unlock();
    }

    std::mutex mutex; // guards the rest
    std::vector<int> descriptors;
};

} // namespace

Descriptor::~Descriptor() {
    if (fd_ >= 0)
        ::close(fd_);
}

bool isForkChild() noexcept {
    return isChild.load(std::memory_order_relaxed);
}

void watchForks() {
    Guarded::all();
}

std::mutex& GuardedDescriptor::forkMutex() {
    return Guarded::all().mutex;
}

bool GuardedDescriptor::hasRoom() noexcept {
    auto& descriptors = Guarded::all().descriptors;
    if (descriptors.size() < descriptors.capacity())
        return true;
    try {
        descriptors.reserve(2 * descriptors.size() + 16);
        return true;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return false;
    }
}

void GuardedDescriptor::enter(int fd) noexcept {
    Guarded::all().descriptors.push_back(fd);
}

GuardedDescriptor::~GuardedDescriptor() {
    if (fd_ < 0 || isForkChild())
        return;
    const int before = errno;
    const std::lock_guard lock(forkMutex());
    ::shutdown(fd_, SHUT_RDWR);
    auto& descriptors = Guarded::all().descriptors;
    const auto place = std::find(descriptors.begin(), descriptors.end(), fd_);
    *place = descriptors.back();
    descriptors.pop_back();
    ::close(fd_);
    errno = before;
}

} // namespace varnek::spf
