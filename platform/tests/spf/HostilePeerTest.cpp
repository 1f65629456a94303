// Peers that do not keep to the rules, or are not who they should be.

#include "spf/HostilePeers.hpp"
#include "spf/Limits.hpp"

#include <random>
#include <sys/file.h>
#include <sys/stat.h>

namespace varnek::spf::test {
namespace {

const std::string refused = std::to_string(static_cast<int>(RemoteErrorKind::refused));

TEST_F(HostilePeers, RandomAndDamagedFramesEndTheirConnectionOnly) {
    const std::filesystem::path path = socket();
    std::mt19937 random(20261121);
    const std::string sound = soundFrames(1, 64);
    const auto descriptors = peer.descriptors();
    for (int round = 0; round < times(100'000, 400); ++round) {
        std::string bytes = sound;
        if (round % 2 == 0) {
            bytes.resize(random() % 300);
            for (char& byte : bytes)
                byte = static_cast<char>(random());
        }
        for (auto changes = random() % 4 + 1; changes > 0 && !bytes.empty(); --changes)
            bytes[random() % bytes.size()] ^= static_cast<char>(1U << random() % 8);
        RawConnection connection(path);
        ASSERT_TRUE(connection.isConnected());
        ASSERT_EQ(accepted, connection.receive(8)) << "round " << round;
        connection.send(bytes);
        connection.endSending();
        ASSERT_TRUE(connection.isClosed()) << "round " << round;
    }
    EXPECT_TRUE(comesTrue([&] { return peer.descriptors() <= descriptors; }));
    expectAlive();
}

TEST_F(HostilePeers, AnnouncedSizesCostNothing) {
    const auto before = statusOf(peer.pid(), "VmPeak:");
    ASSERT_LT(0u, before);
    const auto header = [](std::uint32_t words) {
        const std::uint32_t table[] = {0, words};
        return std::string(reinterpret_cast<const char*>(table), sizeof table);
    };
    for (const std::uint32_t words : {0x0FFFFFFFU, 0xFFFFFFFFU, (2U << 20) / 8}) {
        auto connection = connect();
        EXPECT_EQ(accepted, connection.receive(8));
        EXPECT_TRUE(connection.send(header(words)));
        EXPECT_TRUE(connection.isClosed()) << words;
    }
    auto tooLarge = connect();
    EXPECT_EQ(accepted, tooLarge.receive(8));
    tooLarge.send(soundFrames(1, limits::requestBytes + 32 * 1024));
    EXPECT_TRUE(tooLarge.isClosed());
    EXPECT_GT(before + 1024 * 1024, statusOf(peer.pid(), "VmPeak:"));
    expectAlive();
}

/// A provider that announces a reply of gigabytes loses its client, nothing else.
TEST_F(HostilePeers, AnnouncedSizesOfRepliesCostNothing) {
    auto provider = std::make_unique<HostileProvider>(home.folder());
    {
        RawConnection client = provider->accept();
        ASSERT_TRUE(client.isConnected());
        client.send(accepted);
        const std::uint32_t table[] = {0, 0x0FFFFFFF};
        client.send({reinterpret_cast<const char*>(table), sizeof table});
        EXPECT_TRUE(client.isClosed());
    }
    {
        RawConnection client = provider->accept(); // it tries again
        client.send("another protocol");
        EXPECT_TRUE(client.isClosed());
    }
    EXPECT_TRUE(comesTrue([&] {
        for (const auto& process : ServiceRuntime::instance().unusableProcesses())
            if (process.process == "1-hostile")
                return process.failure.kind() == RemoteErrorKind::malformed;
        return false;
    }));
    const std::filesystem::path place = provider->place;
    provider.reset();
    EXPECT_TRUE(comesTrue([&] { return !std::filesystem::exists(place); })); // a stale one
}

/// What the system refuses to one connection concerns no other one.
TEST_F(HostilePeers, AConnectionThatCannotBeServedIsClosedAlone) {
    const auto path = socket();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ("ok", peer.ask("failWatch"));
        RawConnection connection(path);
        EXPECT_TRUE(connection.isClosed());
    }
    expectAlive();
}

TEST_F(HostilePeers, TheClientBeyondTheLimitIsToldSo) {
    const auto path = socket();
    std::vector<RawConnection> clients;
    for (std::size_t i = 0; i < limits::connections; ++i) {
        clients.emplace_back(path);
        ASSERT_EQ(accepted, clients.back().receive(8)) << i;
    }
    RawConnection beyond(path);
    EXPECT_EQ(tooMany, beyond.receive(8));
    EXPECT_TRUE(beyond.isClosed());
    PeerProcess client(folder);
    EXPECT_EQ("ok", client.ask("discover"));
    EXPECT_TRUE(comesTrue([&] { return client.ask("unusable") == "3"; }));
    EXPECT_EQ("no", client.ask("found victim"));
    clients.pop_back();
    EXPECT_TRUE(comesTrue([&] { return client.ask("found victim") == "yes"; }));
    EXPECT_EQ("none", client.ask("unusable"));
    EXPECT_EQ("ok", client.ask("call victim echo"));
}

TEST_F(HostilePeers, ConnectsLeaveNothingBehind) {
    const auto path = socket();
    { RawConnection first(path); }
    const auto descriptors = peer.descriptors();
    const auto threads = peer.threads();
    for (int i = 0; i < times(10'000, 200); ++i) {
        RawConnection connection(path);
        ASSERT_TRUE(connection.isConnected());
        if (i % 3 == 0) {
            // Those before may not have been forgotten yet.
            const std::string greeting = connection.receive(8);
            ASSERT_TRUE(greeting == accepted || greeting == tooMany) << i;
        }
    }
    EXPECT_TRUE(comesTrue([&] { return peer.descriptors() <= descriptors; }));
    EXPECT_TRUE(comesTrue([&] { return peer.threads() <= threads; }));
    expectAlive();
}

/// Calls that were cancelled wait for a worker as others do, without what they ask for.
TEST_F(HostilePeers, CancelledCallsCostLittle) {
    auto connection = connect();
    ASSERT_EQ(accepted, connection.receive(8));
    std::uint32_t question = 0;
    connection.send(bootstrap(question));
    for (std::size_t i = 0; i <= limits::sharedWorkers; ++i) // as many as there may be of one client
        connection.send(serviceCall(++question, 1, 0, invocation("block")));
    const auto before = statusOf(peer.pid(), "VmRSS:");
    for (int i = 0; i < 800; ++i) {
        ASSERT_TRUE(connection.send(serviceCall(++question, 1, 1'000'000, invocation("echo"))));
        ASSERT_TRUE(connection.send(finish(question)));
    }
    connection.send(bootstrap(++question));
    callsUntilAnswer(connection, question);
    EXPECT_GT(before + 400 * 1024, statusOf(peer.pid(), "VmRSS:")); // allocators may keep what was freed
    for (std::size_t i = 0; i < limits::callsOfConnection; ++i) {
        connection.send(serviceCall(++question, 1, 0, invocation("echo")));
        connection.send(finish(question));
    }
    connection.send(serviceCall(++question, 1, 0, invocation("echo")));
    std::string end;
    callsUntilAnswer(connection, question, [&](capnp::rpc::Return::Reader answer) { end = endOf(answer); });
    EXPECT_EQ(refused, end);
    expectAlive();
}

/// A client that is stopped, or does as if, is told what has changed when it goes on.
TEST_F(HostilePeers, ChangesThatAreNotTakenDoNotHeapUp) {
    auto connection = connect();
    ASSERT_EQ(accepted, connection.receive(8));
    const std::string follow = withCapability(callFrame(1, 0, [](auto payload) {
        payload.initCapTable(1)[0].setSenderHosted(5);
        payload.getContent().template initAs<wire::Endpoint::FollowParams>();
    }));
    connection.send(bootstrap(0) + follow);
    EXPECT_EQ(1u, callsUntilAnswer(connection, 1)); // the victim
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ("ok", peer.ask("publish passing"));
        ASSERT_EQ("ok", peer.ask("withdraw passing"));
    }
    connection.send(bootstrap(2));
    const std::size_t calls = callsUntilAnswer(connection, 2);
    EXPECT_LT(100u, calls);
    EXPECT_GT(600u, calls);
    expectAlive();
}

bool isRoot() {
    return ::geteuid() == 0;
}

TEST_F(HostilePeers, AnotherUserIsRefusedBeforeAnythingIsRead) {
    if (!isRoot())
        GTEST_SKIP() << "NOT TESTED: only root can become another user";
    const auto path = socket();
    for (const auto& each : {own.path(), folder})
        std::filesystem::permissions(each, std::filesystem::perms(0755));
    std::filesystem::permissions(path, std::filesystem::perms(0666));
    EXPECT_EQ(0, testing_support::asOrdinaryUser([&] {
                  RawConnection connection(path);
                  if (!connection.isConnected())
                      return 1;
                  connection.send(soundFrames(1, 64));
                  return connection.receive(8) == otherUser && connection.isClosed() ? 0 : 2;
              }));
    std::filesystem::permissions(folder, std::filesystem::perms(0700));
    expectAlive();
}

/// A socket of somebody else that got into the folder.
TEST_F(HostilePeers, TheServiceOfAnotherUserIsNotUsed) {
    if (!isRoot())
        GTEST_SKIP() << "NOT TESTED: only root can become another user";
    const std::filesystem::path open = own / "open";
    std::filesystem::permissions(own.path(), std::filesystem::perms(0755));
    std::filesystem::create_directory(open);
    std::filesystem::permissions(open, std::filesystem::perms(0777));
    std::array<int, 2> ready{};
    ASSERT_EQ(0, ::pipe(ready.data()));
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ready[0]);
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            ::_exit(2);
        const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, (open / "socket").c_str(), sizeof address.sun_path - 1);
        if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(listener, 1) != 0 || ::write(ready[1], "x", 1) != 1)
            ::_exit(3);
        RawConnection client(::accept(listener, nullptr, nullptr));
        client.send(accepted);
        ::_exit(client.receive(1).empty() ? 0 : 4); // not a byte came
    }
    ::close(ready[1]);
    char byte = 0;
    ASSERT_EQ(1, ::read(ready[0], &byte, 1));
    ::close(ready[0]);
    const auto place = home.folder() / "1-somebody.socket";
    std::filesystem::rename(open / "socket", place);
    EXPECT_TRUE(comesTrue([&] {
        for (const auto& process : ServiceRuntime::instance().unusableProcesses())
            if (process.process == "1-somebody")
                return process.failure.kind() == RemoteErrorKind::refused;
        return false;
    }));
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    std::filesystem::remove(place);
}

} // namespace
} // namespace varnek::spf::test
