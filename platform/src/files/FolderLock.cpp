#include "varnek/files/FolderLock.hpp"

#include "files/Descriptor.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace varnek::files {

namespace {

using Clock = std::chrono::steady_clock;
using Identity = std::pair<dev_t, ino_t>;

constexpr std::chrono::milliseconds longestPause{20};

/// What this thread holds, as a list of the locks themselves: saves may outlast the thread's other variables.
struct Held {
    Identity identity{};
    Held* next = nullptr;
};
thread_local Held* heldHere = nullptr;

bool isHeldHere(const Identity& identity) noexcept {
    for (const Held* held = heldHere; held != nullptr; held = held->next)
        if (held->identity == identity)
            return true;
    return false;
}

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

enum class Outcome { held, timeUp, unknown };

/// There is no waiting with a time limit: asks again and again, in pauses that grow.
Outcome lockUntil(int fd, Clock::time_point end) {
    for (std::chrono::milliseconds pause{1};; pause = std::min(2 * pause, longestPause)) {
        if (detail::uninterrupted([&] { return ::flock(fd, LOCK_EX | LOCK_NB); }) == 0)
            return Outcome::held;
        if (errno != EWOULDBLOCK)
            return Outcome::unknown;
        if (Clock::now() + pause > end)
            return Outcome::timeUp;
        std::this_thread::sleep_for(pause);
    }
}

} // namespace

struct FolderLock::State {
    detail::Descriptor folder; // closing it gives the lock back
    Held held;
    bool isHeld = false;
    bool isTimeUp = false;
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
        if (isHeldHere(identity)) {
            state_->isHeld = true;
            return;
        }
        const Outcome outcome = lockUntil(opened.get(), end);
        state_->isTimeUp = outcome == Outcome::timeUp;
        if (outcome != Outcome::held)
            return;
        if (identityOf(openNearest(folder).get()) != identity && Clock::now() < end)
            continue; // the folder was made, or replaced, while this waited
        state_->folder = std::move(opened);
        state_->held = {identity, heldHere};
        heldHere = &state_->held;
        state_->isHeld = state_->isOurs = true;
        return;
    }
}

FolderLock::~FolderLock() {
    if (!state_->isOurs)
        return;
    ::flock(state_->folder.get(), LOCK_UN); // a child that was forked meanwhile holds the descriptor, too
    for (Held** link = &heldHere; *link != nullptr; link = &(*link)->next)
        if (*link == &state_->held) {
            *link = state_->held.next;
            return;
        }
}

bool FolderLock::isHeld() const noexcept {
    return state_->isHeld;
}

bool FolderLock::isTimeUp() const noexcept {
    return state_->isTimeUp;
}

} // namespace varnek::files
