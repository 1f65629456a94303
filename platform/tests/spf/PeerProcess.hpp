/// Second processes for the tests of remote services, and how this one finds them.
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkFactory.h"
#include "files/TemporaryFolder.hpp"
#include "spf/ServiceRuntime.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <memory>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace varnek::spf::test {

inline constexpr std::chrono::seconds patience{60};

/// How often something is tried: in a soak, and usually.
inline int times(int soak, int usual) {
    return std::getenv("VKSETTINGS_SOAK") != nullptr ? soak : usual;
}

/// Whether `condition` comes to hold, in the time that a slow machine may need.
inline bool comesTrue(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::yield();
    }
    return true;
}

inline std::size_t entriesOf(const std::filesystem::path& folder) {
    std::error_code gone;
    std::size_t count = 0;
    for (std::filesystem::directory_iterator entry(folder, gone), end; !gone && entry != end;
         entry.increment(gone))
        ++count;
    return count;
}

/// A running spf_test_peer; killed at the end.
class PeerProcess {
  public:
    explicit PeerProcess(const std::filesystem::path& folder) {
        std::array<int, 2> in{}, out{};
        if (::pipe2(in.data(), O_CLOEXEC) != 0 || ::pipe2(out.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("no pipes for a peer");
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, in[0], 0);
        ::posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        std::string program = VARNEK_SPF_TEST_PEER;
        std::string argument = folder.native();
        char* const arguments[] = {program.data(), argument.data(), nullptr};
        if (::posix_spawn(&pid_, program.c_str(), &actions, nullptr, arguments, environ) != 0)
            throw std::runtime_error("no peer");
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(in[0]);
        ::close(out[1]);
        in_ = in[1];
        out_ = out[0];
    }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;
    ~PeerProcess() {
        kill(SIGKILL);
        wait();
        ::close(in_);
        ::close(out_);
    }

    /// The peer's answer; empty when it is gone or hangs.
    std::string ask(const std::string& line) {
        tell(line);
        return hear();
    }
    /// The answer to what it was told.
    std::string hear() {
        std::size_t length = 0;
        while ((length = heard_.find('\n')) == std::string::npos) {
            pollfd wait{out_, POLLIN, 0};
            std::array<char, 4096> bytes;
            if (::poll(&wait, 1, std::chrono::milliseconds(patience).count()) <= 0) // NOLINT
                return "";
            const ssize_t got = ::read(out_, bytes.data(), bytes.size());
            if (got <= 0)
                return "";
            heard_.append(bytes.data(), static_cast<std::size_t>(got));
        }
        const std::string line = heard_.substr(0, length);
        heard_.erase(0, length + 1);
        return line;
    }
    void tell(const std::string& line) {
        [[maybe_unused]] const auto written = ::write(in_, (line + '\n').data(), line.size() + 1);
    }

    pid_t pid() const { return pid_; }
    void kill(int signal) {
        if (!isOver_)
            ::kill(pid_, signal);
    }
    /// The exit code, or minus the signal.
    int wait() {
        if (!isOver_ && ::waitpid(pid_, &status_, 0) == pid_)
            isOver_ = true;
        return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
    }
    /// From now on it can open descriptors below `most` only.
    void limitDescriptors(std::size_t most) const {
        const rlimit limit{most, 1024};
        if (::prlimit(pid_, RLIMIT_NOFILE, &limit, nullptr) != 0)
            throw std::runtime_error("no limit for a peer");
    }
    std::size_t descriptors() const { return entriesOf("/proc/" + std::to_string(pid_) + "/fd"); }
    std::size_t threads() const { return entriesOf("/proc/" + std::to_string(pid_) + "/task"); }

  private:
    pid_t pid_ = 0;
    int in_ = -1;
    int out_ = -1;
    std::string heard_; // beyond the last line
    int status_ = 0;
    bool isOver_ = false;
};

/// A connection without any library behind it.
class RawConnection {
  public:
    explicit RawConnection(const std::filesystem::path& socket) {
        fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socket.c_str(), sizeof address.sun_path - 1);
        isConnected_ = ::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    explicit RawConnection(int fd) : fd_(fd), isConnected_(fd >= 0) {}
    RawConnection(RawConnection&& other) noexcept
        : fd_(std::exchange(other.fd_, -1)), isConnected_(other.isConnected_) {}
    RawConnection& operator=(RawConnection&&) = delete;
    ~RawConnection() {
        if (fd_ >= 0)
            ::close(fd_);
    }

    bool isConnected() const { return isConnected_; }
    bool send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0)
                return false;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }
    void endSending() { ::shutdown(fd_, SHUT_WR); }
    /// Up to `size` bytes, fewer at the end of the stream.
    std::string receive(std::size_t size) {
        std::string bytes(size, '\0');
        std::size_t received = 0;
        while (received < size) {
            pollfd wait{fd_, POLLIN, 0};
            if (::poll(&wait, 1, std::chrono::milliseconds(patience).count()) <= 0) // NOLINT
                return "(nothing came)";
            const ssize_t got = ::recv(fd_, bytes.data() + received, size - received, 0);
            if (got <= 0)
                break;
            received += static_cast<std::size_t>(got);
        }
        bytes.resize(received);
        return bytes;
    }
    /// Reads until the other side closes. False when it does not.
    bool isClosed() {
        for (;;) {
            const std::string bytes = receive(4096);
            if (bytes == "(nothing came)")
                return false;
            if (bytes.size() < 4096)
                return true;
        }
    }

  private:
    int fd_ = -1;
    bool isConnected_ = false;
};

inline const std::string accepted("vkspf\1\0\0", 8);
inline const std::string tooMany("vkspf\1\1\0", 8);
inline const std::string otherUser("vkspf\1\2\0", 8);

/// What this process works in; made at the first use, for the whole run.
struct Home {
    static Home& get() {
        static auto* const made = new Home;
        return *made;
    }

    std::filesystem::path folder() const { return below / "varnek-spf"; }

    testing_support::TemporaryFolder below;
    cppmicroservices::Framework framework = cppmicroservices::FrameworkFactory().NewFramework();
    cppmicroservices::BundleContext context;

  private:
    Home() {
        std::atexit([] { std::filesystem::remove_all(get().below.path()); });
        framework.Start();
        context = framework.GetBundleContext();
        ServiceRuntime::setEndpointFolder(folder());
        ServiceRuntime::instance().discover(context);
    }
};

class RemoteServices : public testing::Test {
  protected:
    /// All services of others under the name.
    std::vector<cppmicroservices::ServiceReference<RemoteService>> services(const std::string& name) {
        return home.context.GetServiceReferences<RemoteService>("(spf.servicename=" + name + ")");
    }
    /// Waits for it; null when it does not come.
    std::shared_ptr<Invokable> find(const std::string& name) {
        std::shared_ptr<Invokable> found;
        comesTrue([&] {
            for (const auto& reference : services(name))
                if (const auto service = home.context.GetService(reference); service && !found)
                    found = service->invokable();
            return found != nullptr;
        });
        return found;
    }
    /// How a call ends: "value", or the failure.
    static std::string outcome(std::future<Value> future) {
        if (future.wait_for(patience) != std::future_status::ready)
            return "hangs";
        try {
            future.get();
            return "value";
        } catch (const RemoteError& error) {
            static const char* const names[] = {"unreachable", "disconnected", "timedOut",     "refused",
                                                "tooLarge",    "malformed",    "unknownMethod"};
            return names[static_cast<int>(error.kind())];
        } catch (const ProviderFailure& failure) {
            return "failure " + failure.type();
        }
    }

    Home& home = Home::get();
};

} // namespace varnek::spf::test
