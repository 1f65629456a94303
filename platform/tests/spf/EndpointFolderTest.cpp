// The folder in which processes find each other, and what becomes of those that end.

#include "spf/EndpointFolder.hpp"
#include "spf/Limits.hpp"
#include "spf/PeerProcess.hpp"
#include "varnek/files/FileError.hpp"

#include <fcntl.h>
#include <random>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace {

/// What is done once before a file is removed.
thread_local std::function<void()> beforeRemoval;

} // namespace

/// In place of the system's.
extern "C" __attribute__((visibility("default"))) int unlinkat(int folder, const char* path,
                                                               int flags) noexcept {
    if (const auto action = std::exchange(beforeRemoval, nullptr))
        action();
    return static_cast<int>(::syscall(SYS_unlinkat, folder, path, flags));
}

namespace varnek::spf::test {
namespace {

using namespace std::chrono_literals;

mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// May need several attempts while processes make endpoints anew.
bool isRemoved(const std::filesystem::path& path) {
    std::error_code others;
    std::filesystem::remove_all(path, others);
    return !std::filesystem::exists(path);
}

/// A socket that nobody listens to, and a lock file.
void putLeftovers(const std::filesystem::path& folder, const std::string& name) {
    std::filesystem::create_directories(folder);
    std::filesystem::permissions(folder, std::filesystem::perms(0700));
    testing_support::putContent(folder / (name + ".lock"), "");
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (folder / (name + ".socket")).c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ::close(socket);
}

class EndpointFolders : public testing::Test {
  protected:
    testing_support::TemporaryFolder own;
    std::filesystem::path folder = own / "varnek-spf";
};

TEST_F(EndpointFolders, BelongToOneUserAlone) {
    const mode_t before = ::umask(0);
    PeerProcess peer(folder);
    ASSERT_EQ("ok", peer.ask("publish a"));
    ::umask(before);
    const std::string name = peer.ask("process");
    EXPECT_EQ(0700u, modeOf(folder));
    EXPECT_EQ(0600u, modeOf(folder / (name + ".socket")));
    EXPECT_EQ(0600u, modeOf(folder / (name + ".lock")));
    EXPECT_EQ(2u, entriesOf(folder));
    peer.tell("exit");
    EXPECT_EQ(3, peer.wait());
    EXPECT_EQ(0u, entriesOf(folder));
}

TEST_F(EndpointFolders, AreRefusedWhereOthersHaveAPart) {
    std::filesystem::create_directory(folder);
    std::filesystem::permissions(folder, std::filesystem::perms(0750));
    EXPECT_NE(std::string::npos, PeerProcess(folder).ask("publish a").find("it is open to other users"));
    std::filesystem::permissions(folder, std::filesystem::perms(0700));
    std::filesystem::create_directory_symlink(folder, own / "link");
    EXPECT_TRUE(PeerProcess(own / "link").ask("publish a").starts_with("failed: cannot use folder"));
    testing_support::putContent(own / "file", "");
    EXPECT_TRUE(PeerProcess(own / "file").ask("publish a").starts_with("failed: cannot use folder"));
    if (::geteuid() == 0) {
        ASSERT_EQ(0, ::chown(folder.c_str(), 65534, 65534));
        EXPECT_NE(std::string::npos, PeerProcess(folder).ask("publish a").find("it belongs to another user"));
    }
    EXPECT_EQ(0u, entriesOf(folder));
}

TEST_F(EndpointFolders, MayHaveLongPaths) {
    for (int i = 0; i < 4; ++i)
        folder = folder.parent_path() / std::string(50, 'x') / "varnek-spf";
    std::filesystem::create_directories(folder.parent_path());
    PeerProcess peer(folder), client(folder);
    EXPECT_EQ("ok", peer.ask("publish far"));
    EXPECT_EQ("ok", client.ask("discover"));
    EXPECT_TRUE(comesTrue([&] { return client.ask("found far") == "yes"; }));
    EXPECT_EQ("ok", client.ask("call far echo"));
}

TEST_F(EndpointFolders, AreClearedOfDeadProcessesOnly) {
    putLeftovers(folder, "1-dead");
    putLeftovers(folder, "2-starting");
    const int lock = ::open((folder / "2-starting.lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(0, ::flock(lock, LOCK_EX));
    std::filesystem::remove(folder / "2-starting.socket"); // it does not listen yet
    PeerProcess client(folder);
    EXPECT_EQ("ok", client.ask("discover"));
    EXPECT_TRUE(comesTrue([&] { return entriesOf(folder) == 1; }));
    EXPECT_TRUE(std::filesystem::exists(folder / "2-starting.lock"));
    putLeftovers(folder, "3-dead");
    std::filesystem::remove(folder / "3-dead.socket"); // it never came to listen
    EXPECT_EQ("ok", client.ask("publish mine"));
    EXPECT_FALSE(std::filesystem::exists(folder / "3-dead.lock"));
    EXPECT_TRUE(std::filesystem::exists(folder / "2-starting.lock"));
    ::close(lock);
}

TEST_F(EndpointFolders, MayGoAndComeBack) {
    PeerProcess peer(folder), client(folder);
    EXPECT_EQ("ok", client.ask("discover"));
    EXPECT_EQ("ok", peer.ask("publish first"));
    EXPECT_TRUE(comesTrue([&] { return client.ask("found first") == "yes"; }));
    std::error_code notEmpty; // the peer makes its endpoint anew at once
    std::filesystem::remove_all(folder, notEmpty);
    const auto socket = folder / (peer.ask("process") + ".socket");
    EXPECT_TRUE(comesTrue([&] { return std::filesystem::exists(socket); }));
    EXPECT_EQ("ok", client.ask("call first echo"));
    PeerProcess late(folder);
    EXPECT_EQ("ok", late.ask("discover"));
    EXPECT_TRUE(comesTrue([&] { return late.ask("found first") == "yes"; }));
    PeerProcess other(folder);
    EXPECT_EQ("ok", other.ask("publish second"));
    EXPECT_TRUE(comesTrue([&] { return client.ask("found second") == "yes"; }));
}

/// What others leave in the folder, by chance or not, under names that come before those of processes.
TEST_F(EndpointFolders, MayHoldWhatCannotBeConnectedTo) {
    PeerProcess peer(folder);
    ASSERT_EQ("ok", peer.ask("publish behind"));
    const auto socketAt = [&](const std::string& name, int type) {
        const int made = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, (folder / name).c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(0, ::bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        return made;
    };
    const int datagrams = socketAt("0-datagrams.socket", SOCK_DGRAM);
    ::close(socketAt("0-held.socket", SOCK_STREAM));
    testing_support::putContent(folder / "0-held.lock", "");
    const int lock = ::open((folder / "0-held.lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(0, ::flock(lock, LOCK_EX));
    testing_support::putContent(folder / "0-locked.socket", "");
    std::filesystem::create_directory(folder / "0-locked.lock");
    std::filesystem::create_symlink("0-loop.socket", folder / "0-loop.socket");
    std::filesystem::create_directory(folder / "0-folder.socket");
    testing_support::putContent(folder / ("0-" + std::string(150, 'x') + ".socket"), "");
    ASSERT_EQ(0, ::mkfifo((folder / "0-pipe.socket").c_str(), 0600));
    PeerProcess client(folder);
    EXPECT_EQ("ok", client.ask("discover"));
    EXPECT_TRUE(comesTrue([&] { return client.ask("found behind") == "yes"; }));
    EXPECT_EQ("ok", client.ask("call behind echo"));
    PeerProcess late(folder); // what is bad is tried again and again, and hides nothing that comes later
    EXPECT_EQ("ok", late.ask("publish late"));
    EXPECT_TRUE(comesTrue([&] { return client.ask("found late") == "yes"; }));
    ::close(lock);
    EXPECT_TRUE(comesTrue([&] { return !std::filesystem::exists(folder / "0-held.socket"); }));
    ::close(datagrams);
}

/// Sixteen processes remove what eight others have left, and find the one that lives.
TEST_F(EndpointFolders, AreClearedByManyAtOnce) {
    PeerProcess live(folder);
    ASSERT_EQ("ok", live.ask("publish live"));
    for (int round = 0; round < times(50, 3); ++round) {
        for (int i = 0; i < 8; ++i)
            putLeftovers(folder, std::to_string(i) + "-dead");
        std::vector<std::unique_ptr<PeerProcess>> clients;
        for (int i = 0; i < 16; ++i)
            ASSERT_NE("", clients.emplace_back(std::make_unique<PeerProcess>(folder))->ask("process"));
        for (const auto& client : clients)
            client->tell("discover");
        for (const auto& client : clients) {
            ASSERT_EQ("ok", client->hear());
            ASSERT_TRUE(comesTrue([&] { return client->ask("found live") == "yes"; }));
        }
    }
}

/// Somebody makes an endpoint of the name just then.
TEST_F(EndpointFolders, LoseNothingFreshWhereALeftoverHasNoLock) {
    putLeftovers(folder, "1-name");
    std::filesystem::remove(folder / "1-name.lock");
    const EndpointFolder endpoints(folder);
    std::unique_ptr<Endpoint> made;
    beforeRemoval = [&] {
        try {
            made = endpoints.create("1-name");
        } catch (const files::FileError&) { // the name is not free
        }
    };
    EXPECT_TRUE(endpoints.removeStale("1-name"));
    EXPECT_TRUE(made == nullptr || made->isInPlace());
    made = nullptr;
    EXPECT_EQ(0u, entriesOf(folder));
    EXPECT_TRUE(endpoints.removeStale("1-name"));
    EXPECT_TRUE(endpoints.create("1-name")->isInPlace());
}

/// Descriptors that run out while the first look is taken, at each place where one is needed.
TEST_F(EndpointFolders, AreLookedAtAgainWhenDescriptorsHadRunOut) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer takes objects for damaged when it has no descriptor to look at them with";
#endif
    PeerProcess peer(folder);
    ASSERT_EQ("ok", peer.ask("publish there"));
    int failures = 0;
    for (std::size_t more = 0; more < 12; ++more) {
        PeerProcess client(folder);
        ASSERT_NE("", client.ask("process"));
        client.limitDescriptors(client.descriptors() + more);
        const std::string first = client.ask("discover");
        ASSERT_NE("", first) << more;
        failures += first == "ok" ? 0 : 1;
        client.limitDescriptors(1024);
        if (first != "ok") {
            ASSERT_EQ("ok", client.ask("discover")) << more;
        }
        EXPECT_TRUE(comesTrue([&] { return client.ask("found there") == "yes"; })) << more;
    }
    EXPECT_LT(0, failures);
    EXPECT_GT(12, failures);
}

TEST_F(EndpointFolders, GetTheirEndpointsBackWhenThatFailsAtFirst) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer takes objects for damaged when it has no descriptor to look at them with";
#endif
    PeerProcess peer(folder), client(folder);
    ASSERT_EQ("ok", peer.ask("publish lasting"));
    const auto socket = folder / (peer.ask("process") + ".socket");
    const auto isFound = [&] {
        PeerProcess late(folder);
        return late.ask("discover") == "ok" && comesTrue([&] { return late.ask("found lasting") == "yes"; });
    };
    const auto descriptors = peer.descriptors();
    peer.limitDescriptors(0); // not even what it has may be waited for
    ASSERT_TRUE(comesTrue([&] { return isRemoved(folder); }));
    peer.limitDescriptors(3); // no number is free, whatever the endpoint gives back
    EXPECT_TRUE(comesTrue([&] { return peer.descriptors() < descriptors; })); // it is being tried
    peer.limitDescriptors(1024);
    EXPECT_TRUE(comesTrue([&] { return std::filesystem::exists(socket); }));
    EXPECT_TRUE(isFound());
    // As when the last session of a user ends and a new one begins.
    const auto parent = folder.parent_path() / "session";
    PeerProcess other(parent / "varnek-spf");
    std::filesystem::create_directory(parent);
    ASSERT_EQ("ok", other.ask("publish other"));
    ASSERT_TRUE(comesTrue([&] { return isRemoved(parent); }));
    std::filesystem::create_directory(parent);
    EXPECT_TRUE(comesTrue([&] { return entriesOf(parent / "varnek-spf") == 2; }));
    // A file in the place of the socket.
    testing_support::putContent(folder / "file", "");
    std::filesystem::rename(folder / "file", socket);
    EXPECT_TRUE(comesTrue([&] { return std::filesystem::is_socket(socket); }));
    EXPECT_TRUE(isFound());
}

TEST_F(EndpointFolders, GetTheirEndpointsBackWhenTheirLockIsReplaced) {
    PeerProcess peer(folder);
    ASSERT_EQ("ok", peer.ask("publish lasting"));
    const auto lock = folder / (peer.ask("process") + ".lock");
    testing_support::putContent(folder / "file", "not a lock");
    std::filesystem::rename(folder / "file", lock);
    EXPECT_TRUE(comesTrue([&] {
        std::error_code error; // it is away for a moment
        return std::filesystem::file_size(lock, error) == 0 && !error;
    }));
    PeerProcess client(folder);
    EXPECT_EQ("ok", client.ask("discover"));
    EXPECT_TRUE(comesTrue([&] { return client.ask("found lasting") == "yes"; }));
    EXPECT_EQ("ok", client.ask("call lasting echo"));
}

/// Processes that end in the middle of calls.
class Ends : public RemoteServices {};

TEST_F(Ends, KilledProvidersEndEveryCall) {
    std::mt19937 random(20261121);
    for (int round = 0; round < times(1'000, 30); ++round) {
        const std::string name = "killed" + std::to_string(round);
        PeerProcess peer(home.folder());
        ASSERT_EQ("ok", peer.ask("publish " + name));
        const auto remote = find(name);
        ASSERT_NE(nullptr, remote);
        std::vector<std::future<Value>> calls;
        for (int i = 0; i < 16; ++i)
            calls.push_back(i % 4 == 0   ? remote->invoke("block", {}, patience)
                            : i % 4 == 1 ? remote->invoke("size", {1'000'000}, patience)
                                         : remote->invoke("echo", {i}, patience));
        for (auto turns = random() % 200; turns > 0; --turns)
            std::this_thread::yield();
        if (round % 5 == 0)
            calls.push_back(remote->invoke("die", {}, patience));
        else
            peer.kill(SIGKILL);
        for (auto& call : calls) {
            const std::string end = outcome(std::move(call));
            ASSERT_TRUE(end == "value" || end == "disconnected") << end;
        }
        ASSERT_TRUE(comesTrue([&] { return !remote->isAlive() && services(name).empty(); }));
    }
}

TEST_F(Ends, ProcessesLeaveNoDescriptorsAndThreadsToTheirClients) {
    const auto once = [&](const std::string& name) {
        PeerProcess peer(home.folder());
        ASSERT_EQ("ok", peer.ask("publish " + name));
        const auto remote = find(name);
        ASSERT_NE(nullptr, remote);
        EXPECT_EQ("value", outcome(remote->invoke("size", {1'000'000}, patience)));
        peer.kill(SIGKILL);
        ASSERT_TRUE(comesTrue([&] { return services(name).empty(); }));
    };
    once("warm");
    const auto descriptors = entriesOf("/proc/self/fd");
    const auto threads = entriesOf("/proc/self/task");
    for (int i = 0; i < times(500, 20); ++i)
        once("one" + std::to_string(i));
    EXPECT_TRUE(comesTrue([&] { return entriesOf("/proc/self/fd") <= descriptors; }));
    EXPECT_TRUE(comesTrue([&] { return entriesOf("/proc/self/task") <= threads; }));
}

TEST_F(Ends, ProcessesExitWhileTheyServeAndCall) {
    PeerProcess peer(home.folder());
    ASSERT_EQ("ok", peer.ask("publish exiting"));
    EXPECT_EQ("ok", peer.ask("discover"));
    const auto remote = find("exiting");
    ASSERT_NE(nullptr, remote);
    auto call = remote->invoke("block", {}, patience);
    EXPECT_TRUE(comesTrue([&] { return remote->invoke("blocked", {}).get() == Value(1); }));
    peer.tell("exit");
    EXPECT_EQ("disconnected", outcome(std::move(call)));
    EXPECT_EQ(3, peer.wait());
}

TEST_F(Ends, ChildrenOfAForkAreRefusedAndHoldNothingUp) {
    PeerProcess other(home.folder()), peer(home.folder());
    ASSERT_EQ("ok", other.ask("publish other"));
    ASSERT_EQ("ok", peer.ask("publish forking"));
    EXPECT_EQ("ok", peer.ask("discover"));
    EXPECT_TRUE(comesTrue([&] { return peer.ask("found other") == "yes"; }));
    EXPECT_EQ("42", peer.ask("fork ask"));
    const auto remote = find("forking");
    ASSERT_NE(nullptr, remote);
    EXPECT_EQ("value", outcome(remote->invoke("echo", {}))); // the child took nothing away
    const pid_t child = std::stoi(peer.ask("fork linger"));
    const auto socket = home.folder() / (peer.ask("process") + ".socket");
    auto call = remote->invoke("block", {}, patience);
    peer.kill(SIGKILL);
    EXPECT_EQ("disconnected", outcome(std::move(call)));
    EXPECT_TRUE(comesTrue([&] { return !std::filesystem::exists(socket); })); // so its lock is free
    EXPECT_EQ(0, ::kill(child, SIGKILL));
}

TEST_F(Ends, SignalsStayWithTheHost) {
    EXPECT_EQ("kept", PeerProcess(home.folder()).ask("signals"));
}

} // namespace
} // namespace varnek::spf::test
