// By inotify(7). While the folder is missing, the nearest folder above that is there is watched in its place.

#include "varnek/files/FolderWatch.hpp"

#include "files/Descriptor.hpp"
#include "varnek/concurrency/WithoutSignals.hpp"
#include "varnek/log/Channel.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace varnek::files {

namespace {

log::Channel watchLog("varnek::files::FolderWatch");

constexpr std::uint32_t fileEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
constexpr std::uint32_t selfEvents = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr std::uint32_t pathEvents = IN_CREATE | IN_MOVED_TO | IN_ATTRIB; // on the way to a missing folder
// Above a folder that is watched: a folder that is in use somewhere does not tell that it is removed.
constexpr std::uint32_t parentEvents = IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR;
constexpr int mostLooks = 16;           // a folder that is there may still not be watchable
constexpr int retryMilliseconds = 1000; // while nothing at all can be watched
constexpr int pauseMilliseconds = 100;  // while nothing can be waited for

detail::Descriptor required(int fd, const char* what) {
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return detail::Descriptor(fd);
}

} // namespace

/// After the constructor everything but `stop` and what follows `isOnFolder` belongs to the thread, which
/// keeps it until it ends.
struct FolderWatch::State {
    State(const std::filesystem::path& watched, Listener callee)
        : folder(std::filesystem::absolute(watched).lexically_normal()), listener(std::move(callee)),
          stop(required(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
          events(required(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK), "inotify_init1")) {
        if (!folder.has_filename()) // of a name that ends with a separator
            folder = folder.parent_path();
        arm();
    }

    /// Watches the folder, or what is nearest to it. Looks again afterwards: a folder may have appeared
    /// between two looks.
    void arm() {
        isOnFolder = false;
        endParentWatch();
        int looks = 0;
        for (std::filesystem::path at = folder;;) {
            const bool isIt = at == folder;
            const int added = ::inotify_add_watch(events.get(), at.c_str(),
                                                  isIt ? selfEvents | fileEvents : selfEvents | pathEvents);
            if (added >= 0) {
                replaceWatch(added);
                isOnFolder = isIt;
                if (isIt && !watchParent(added))
                    continue; // another folder is in its place, or none
                if (isIt || !isReachable(below) || ++looks == mostLooks)
                    return;
                at = folder; // it, or more of the way to it, is there by now
                continue;
            }
            if (errno != ENOENT && errno != ENOTDIR)
                VARNEK_LOG(watchLog, warning)
                    << "cannot watch \"" << at.string() << "\": " << std::strerror(errno);
            if (at == at.parent_path())
                return replaceWatch(-1);
            below = at;
            at = at.parent_path();
        }
    }

    /// Watches the place of the folder, too; false when it has left that meanwhile. Where nobody may watch it
    /// must do without.
    bool watchParent(int folderWatch) {
        if (folder == folder.parent_path())
            return true;
        parentWatch = ::inotify_add_watch(events.get(), folder.parent_path().c_str(), parentEvents);
        const int now = ::inotify_add_watch(events.get(), folder.c_str(), selfEvents | fileEvents);
        if (now == folderWatch)
            return true;
        endParentWatch();
        return false;
    }
    void endParentWatch() {
        if (parentWatch >= 0)
            ::inotify_rm_watch(events.get(), std::exchange(parentWatch, -1));
    }

    bool isReachable(const std::filesystem::path& path) const {
        std::error_code ignored;
        return std::filesystem::is_directory(path, ignored) && ::access(path.c_str(), R_OK | X_OK) == 0;
    }

    void replaceWatch(int now) {
        if (watch >= 0 && watch != now)
            ::inotify_rm_watch(events.get(), watch); // the system may have done so
        watch = now;
    }

    void run() noexcept {
        for (;;) {
            std::array<pollfd, 2> waits{{{stop.get(), POLLIN, 0}, {events.get(), POLLIN, 0}}};
            const int timeout = watch >= 0 ? -1 : retryMilliseconds;
            const int ready = ::poll(waits.data(), waits.size(), timeout);
            if (waits[0].revents != 0)
                return;
            if (ready < 0 && errno != EINTR) { // no memory, or a limit of descriptors below what it is given
                std::uint64_t stops = 0;
                if (::read(stop.get(), &stops, sizeof stops) > 0)
                    return;
                ::poll(nullptr, 0, pauseMilliseconds);
                continue;
            }
            try {
                FolderChanges changes = collect();
                if (!changes.names.empty() || changes.isEverything)
                    listener(changes);
            } catch (const std::exception& failure) {
                VARNEK_LOG(watchLog, error) << "Exception caught: " << failure.what();
            } catch (...) {
                VARNEK_LOG(watchLog, error) << "Exception caught: Unknown";
            }
        }
    }

    /// Everything that the system has to tell now.
    FolderChanges collect() {
        std::set<std::string> names;
        bool isLost = watch < 0;
        bool isEverything = false;
        alignas(inotify_event) std::array<char, 16 * 1024> buffer;
        for (;;) {
            const ssize_t bytes =
                detail::uninterrupted([&] { return ::read(events.get(), buffer.data(), buffer.size()); });
            if (bytes <= 0)
                break;
            for (std::size_t at = 0; at < static_cast<std::size_t>(bytes);) {
                inotify_event event;
                std::memcpy(&event, buffer.data() + at, sizeof event);
                const char* name = buffer.data() + at + sizeof event;
                at += sizeof event + event.len;
                if ((event.mask & IN_Q_OVERFLOW) != 0)
                    isEverything = isLost = true;
                else if (event.wd == parentWatch)
                    isLost = isLost || (event.len != 0 && folder.filename() == name);
                else if (event.wd != watch)
                    continue; // of a folder that was watched before
                else if (!isOnFolder || (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0) {
                    isLost = true;
                    // It was made; whether it is still there when the watch comes is another matter.
                    isEverything = isEverything || (!isOnFolder && below == folder && event.len != 0 &&
                                                    folder.filename() == name);
                } else if (event.len != 0 && (event.mask & IN_ISDIR) == 0)
                    names.insert(name);
            }
        }
        if (isLost) {
            const bool wasOnFolder = isOnFolder;
            arm();
            isEverything = isEverything || isOnFolder || wasOnFolder;
        }
        return {{names.begin(), names.end()}, isEverything};
    }

    std::filesystem::path folder;
    const Listener listener;
    detail::Descriptor stop;
    detail::Descriptor events;
    std::filesystem::path below; // the first part of the way that is missing
    int watch = -1;
    int parentWatch = -1;
    bool isOnFolder = false;
    const pid_t process = ::getpid(); // a child of fork() has no such thread
    std::thread thread;
};

FolderWatch::FolderWatch(const std::filesystem::path& folder, Listener listener) {
    if (folder.empty() || !listener)
        throw std::invalid_argument("a folder watch needs a folder and a listener");
    state_ = std::make_shared<State>(folder, std::move(listener));
    const concurrency::WithoutSignals inTheThread;
    state_->thread = std::thread([state = state_] { state->run(); });
}

FolderWatch::~FolderWatch() {
    if (::getpid() != state_->process) {
        // The child of a fork: nothing to wait for, and the means to stop the thread are shared with the
        // parent.
        new (std::nothrow) std::shared_ptr<State>(state_);
        return;
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written =
        detail::uninterrupted([&] { return ::write(state_->stop.get(), &one, sizeof one); });
    if (state_->thread.get_id() == std::this_thread::get_id())
        state_->thread.detach();
    else
        state_->thread.join();
}

} // namespace varnek::files
