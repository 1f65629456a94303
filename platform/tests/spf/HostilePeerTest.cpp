// Peers that do not keep to the rules, or are not who they should be.

#include "spf/Limits.hpp"
#include "spf/PeerProcess.hpp"

#include <capnp/message.h>
#include <capnp/rpc.capnp.h>
#include <capnp/serialize.h>
#include <spf/Remote.capnp.h>

#include <fstream>
#include <random>
#include <sys/file.h>
#include <sys/stat.h>

namespace varnek::spf::test {
namespace {

using namespace std::chrono_literals;

/// The value of a line of /proc/<pid>/status, in KiB.
std::size_t statusOf(pid_t process, const std::string& key) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(key))
            return std::stoull(line.substr(key.size() + 1));
    return 0;
}

template <class Fill>
std::string frame(Fill fill) {
    capnp::MallocMessageBuilder builder;
    fill(builder.initRoot<capnp::rpc::Message>());
    const auto words = capnp::messageToFlatArray(builder);
    return {reinterpret_cast<const char*>(words.begin()), words.size() * sizeof(capnp::word)};
}

std::string bootstrap(std::uint32_t question) {
    return frame([&](auto message) { message.initBootstrap().setQuestionId(question); });
}

/// A call of what was asked for in question 0.
template <class Fill>
std::string callFrame(std::uint32_t question, std::uint16_t method, Fill fill) {
    return frame([&](auto message) {
        auto call = message.initCall();
        call.setQuestionId(question);
        call.initTarget().initPromisedAnswer().setQuestionId(0);
        call.setInterfaceId(capnp::typeId<wire::Endpoint>());
        call.setMethodId(method);
        fill(call.initParams());
    });
}

/// A call of a service. What it says takes `requestBytes`, but for its beginning all zeros.
std::string serviceCall(std::uint32_t question, std::uint64_t publication, std::size_t requestBytes,
                        const std::string& content = {}) {
    return callFrame(question, 1, [&](auto payload) {
        auto params = payload.initContent().template initAs<wire::Endpoint::CallParams>();
        params.setPublication(publication);
        auto request = params.initRequest(static_cast<capnp::uint>(std::max(requestBytes, content.size())));
        std::memcpy(request.begin(), content.data(), content.size());
    });
}

std::string invocation(const std::string& method) {
    capnp::MallocMessageBuilder builder;
    auto message = builder.initRoot<wire::Message>();
    message.setName({reinterpret_cast<const kj::byte*>(method.data()), method.size()});
    const auto bytes = builder.getSegmentsForOutput()[0].asBytes();
    return {reinterpret_cast<const char*>(bytes.begin()), bytes.size()};
}

std::string finish(std::uint32_t question) {
    return frame([&](auto message) { message.initFinish().setQuestionId(question); });
}

/// What a sound client would send: for the endpoint, and a call of it.
std::string soundFrames(std::uint64_t publication, std::size_t requestBytes) {
    return bootstrap(0) + serviceCall(1, publication, requestBytes);
}

/// Reads one message and looks at it. False at the end of the stream.
bool nextMessage(RawConnection& connection, const std::function<void(capnp::rpc::Message::Reader)>& look) {
    std::string bytes = connection.receive(8);
    if (bytes.size() < 8)
        return false;
    std::uint32_t segments = 0;
    std::memcpy(&segments, bytes.data(), sizeof segments);
    bytes += connection.receive((segments + 1) / 2 * 8);
    std::size_t words = 0;
    for (std::uint32_t i = 0; i <= segments; ++i) {
        std::uint32_t size = 0;
        std::memcpy(&size, bytes.data() + 4 * (i + 1), sizeof size);
        words += size;
    }
    bytes += connection.receive(8 * words);
    auto aligned = kj::heapArray<capnp::word>(bytes.size() / sizeof(capnp::word));
    std::memcpy(aligned.begin(), bytes.data(), bytes.size());
    capnp::FlatArrayMessageReader reader(aligned);
    look(reader.getRoot<capnp::rpc::Message>());
    return true;
}

/// Until the answer to the question. How many calls came before it.
std::size_t callsUntilAnswer(RawConnection& connection, std::uint32_t question,
                             const std::function<void(capnp::rpc::Return::Reader)>& look = nullptr) {
    std::size_t calls = 0;
    bool isAnswered = false;
    const auto see = [&](capnp::rpc::Message::Reader message) {
        calls += message.isCall() ? 1 : 0;
        isAnswered = message.isReturn() && message.getReturn().getAnswerId() == question;
        if (isAnswered && look)
            look(message.getReturn());
    };
    while (!isAnswered && nextMessage(connection, see)) {
    }
    EXPECT_TRUE(isAnswered);
    return calls;
}

class HostilePeers : public RemoteServices {
  protected:
    void SetUp() override { ASSERT_EQ("ok", peer.ask("publish victim")); }

    std::filesystem::path socket() { return folder / (peer.ask("process") + ".socket"); }
    RawConnection connect() { return RawConnection(socket()); }
    /// The peer still serves others.
    void expectAlive() {
        PeerProcess client(folder);
        EXPECT_EQ("ok", client.ask("discover"));
        EXPECT_TRUE(comesTrue([&] { return client.ask("found victim") == "yes"; }));
        EXPECT_EQ("ok", client.ask("call victim echo"));
    }

    testing_support::TemporaryFolder own;
    std::filesystem::path folder = own / "varnek-spf";
    PeerProcess peer{folder};
};

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
    const std::filesystem::path place = home.folder() / "1-hostile.socket";
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (own / "socket").c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ASSERT_EQ(0, ::listen(listener, 8));
    std::filesystem::rename(own / "socket", place);
    {
        RawConnection client(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
        ASSERT_TRUE(client.isConnected());
        client.send(accepted);
        const std::uint32_t table[] = {0, 0x0FFFFFFF};
        client.send({reinterpret_cast<const char*>(table), sizeof table});
        EXPECT_TRUE(client.isClosed());
    }
    {
        RawConnection client(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)); // it tries again
        client.send("another protocol");
        EXPECT_TRUE(client.isClosed());
    }
    EXPECT_TRUE(comesTrue([&] {
        for (const auto& process : ServiceRuntime::instance().unusableProcesses())
            if (process.process == "1-hostile")
                return process.failure.kind() == RemoteErrorKind::malformed;
        return false;
    }));
    ::close(listener);
    EXPECT_TRUE(comesTrue([&] { return !std::filesystem::exists(place); })); // a stale one
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
    RemoteErrorKind kind{};
    callsUntilAnswer(connection, question, [&](capnp::rpc::Return::Reader answer) {
        const auto bytes = answer.getResults().getContent().getAs<wire::Endpoint::CallResults>().getReply();
        const kj::ArrayPtr<const capnp::word> segments[] = {
            {reinterpret_cast<const capnp::word*>(bytes.begin()), bytes.size() / sizeof(capnp::word)}};
        capnp::SegmentArrayMessageReader reader(segments);
        kind = static_cast<RemoteErrorKind>(reader.getRoot<wire::Reply>().getError().getKind());
    });
    EXPECT_EQ(RemoteErrorKind::refused, kind);
    expectAlive();
}

/// A client that is stopped, or does as if, is told what has changed when it goes on.
TEST_F(HostilePeers, ChangesThatAreNotTakenDoNotHeapUp) {
    auto connection = connect();
    ASSERT_EQ(accepted, connection.receive(8));
    std::string follow = callFrame(1, 0, [](auto payload) {
        payload.initCapTable(1)[0].setSenderHosted(5);
        payload.initContent().template initAs<wire::Endpoint::FollowParams>();
    });
    follow[follow.size() - sizeof(capnp::word)] = 3; // its last word: a pointer to the first of that table
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
