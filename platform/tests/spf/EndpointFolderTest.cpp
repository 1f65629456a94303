// The folder in which processes find each other, and what becomes of those that end.

#include "spf/Limits.hpp"
#include "spf/PeerProcess.hpp"

#include <fcntl.h>
#include <random>
#include <sys/file.h>
#include <sys/stat.h>

namespace varnek::spf::test {
namespace {

using namespace std::chrono_literals;

mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
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
