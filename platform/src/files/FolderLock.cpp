#include "varnek/files/FolderLock.hpp"

#include "files/Descriptor.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

namespace varnek::files {

namespace {

using Clock = std::chrono::steady_clock;
using Identity = std::pair<dev_t, ino_t>;

constexpr std::chrono::milliseconds longestPause{20};

thread_local std::vector<Identity> heldHere;

Identity identityOf(int fd) noexcept {
    struct stat status {};
    return ::fstat(fd, &status) == 0 ? Identity(status.st_dev, status.st_ino) : Identity(0, 0);
}

detail::Descriptor openNearest(std::filesystem::path folder) {
    for (;;) {
        auto opened = detail::openAt(AT_FDCWD, folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY);
        if (opened || errno != ENOENT || folder.empty() || folder == folder.parent_path())
            return opened;
        folder = folder.parent_path();
    }
}

/// There is no waiting with a time limit: asks again and again, in pauses that grow.
bool lockUntil(int fd, Clock::time_point end) {
    for (std::chrono::milliseconds pause{1};; pause = std::min(2 * pause, longestPause)) {
        if (detail::uninterrupted([&] { return ::flock(fd, LOCK_EX | LOCK_NB); }) == 0)
            return true;
        if (errno != EWOULDBLOCK || Clock::now() + pause > end)
            return false;
        std::this_thread::sleep_for(pause);
    }
}

} // namespace

struct FolderLock::State {
    detail::Descriptor folder; // closing it gives the lock back
    Identity identity{};
    bool isHeld = false;
    bool isOurs = false; // not that of an object further up in this thread
};

FolderLock::FolderLock(const std::filesystem::path& folder, std::chrono::milliseconds patience)
    : state_(std::make_unique<State>()) {
    const auto end = Clock::now() + patience;
    for (;;) {
        auto opened = openNearest(folder);
        if (!opened)
            return;
        const Identity identity = identityOf(opened.get());
        if (std::find(heldHere.begin(), heldHere.end(), identity) != heldHere.end()) {
            state_->isHeld = true;
            return;
        }
        if (!lockUntil(opened.get(), end))
            return;
        if (identityOf(openNearest(folder).get()) != identity)
            continue; // the folder was made, or replaced, while this waited
        heldHere.push_back(identity);
        state_->folder = std::move(opened);
        state_->identity = identity;
        state_->isHeld = state_->isOurs = true;
        return;
    }
}

FolderLock::~FolderLock() {
    if (state_->isOurs)
        std::erase(heldHere, state_->identity);
}

bool FolderLock::isHeld() const noexcept {
    return state_->isHeld;
}

} // namespace varnek::files
