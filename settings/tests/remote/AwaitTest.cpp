// Waiting for the groups of other processes, and what is said of processes that cannot be asked.

#include "remote/SharedPlace.hpp"

#include "cppmicroservices/BundleContext.h"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/spf/TopLevelNodeClientTracker.hpp"
#include "spf/ServiceRuntime.hpp"
#include "support/WatchedThread.hpp"

#include <atomic>
#include <cstring>
#include <fstream>
#include <memory>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace settings::core;
using namespace settings::test;
using exception::RemoteCallFailed;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

struct Await : SharedPlace {};

/// A service as others publish it, which nobody calls.
struct Offered : varnek::spf::RemoteService {
    struct Uncalled : varnek::spf::Invokable {
        std::future<varnek::spf::Value> invoke(const std::string&, varnek::spf::Value::List,
                                               milliseconds) override {
            return {};
        }
        bool isAlive() const noexcept override { return true; }
        varnek::spf::Subscription listen(const std::string&, Listener) override { return {}; }
    };
    std::shared_ptr<varnek::spf::Invokable> invokable() const override {
        return std::make_shared<Uncalled>();
    }
};

auto offer(const std::string& group) {
    cppmicroservices::ServiceProperties properties;
    properties[varnek::spf::property::serviceName] = std::string(settings::spf::publisherId);
    properties[varnek::spf::property::process] = std::string("another one");
    properties[std::string(varnek::spf::property::serviceProperty) + settings::spf::groupProperty] = group;
    return serviceContext().RegisterService<varnek::spf::RemoteService>(std::make_shared<Offered>(),
                                                                        properties);
}

TEST_F(Await, EverythingThatProcessesPublish) {
    OtherProcess first(publisher("first", {"editor", "shell"}), steps());
    OtherProcess second(
        publisher("second", {"third"}, [] { root()->addGroup("third", true, false, "session"); }), steps());
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", first.started());
        ASSERT_EQ("", second.started());
        attachRemoteGroups();
        EXPECT_TRUE(awaitRemoteGroups({}, seconds(30)));
        for (const char* group : {"editor", "shell", "third"})
            EXPECT_TRUE(isRemote(*root()->getChild(group))) << group;
    });
}

TEST_F(Await, EndsWithItsTimeWhileGroupsComeAndGo) {
    inAnotherProcess([&] {
        start("client");
        root();
        const auto stays = offer("editor");
        const auto begin = steady_clock::now();
        std::atomic<bool> isOver{false};
        std::jthread comesAndGoes([&] {
            while (!isOver && steady_clock::now() - begin < seconds(10))
                offer("shell").Unregister();
        });
        awaitRemoteGroups({}, milliseconds(100));
        EXPECT_GT(seconds(5), steady_clock::now() - begin);
        isOver = true;
    });
}

TEST_F(Await, AsLongAsItTakes) {
    inAnotherProcess([&] {
        start("client");
        root();
        for (const milliseconds nothing : {milliseconds(0), milliseconds(-1), milliseconds::min()}) {
            EXPECT_FALSE(awaitRemoteGroups({"editor"}, nothing));
            EXPECT_FALSE(awaitRemoteGroups({}, nothing));
        }
        bool isThere = false;
        {
            const WatchedThread waiting(
                [&] { isThere = awaitRemoteGroups({"editor"}, milliseconds::max()); });
            waiting.settle();
            offer("editor");
        }
        EXPECT_TRUE(isThere);
        EXPECT_TRUE(awaitRemoteGroups({}, milliseconds::max()));
    });
}

/// What comes when there is no tree is attached to the next one.
TEST_F(Await, AGroupThatComesWithoutATree) {
    inAnotherProcess([&] {
        start("client");
        root();
        detail::RootStates::instance().erase(DefaultRootIndex().index());
        offer("editor");
        ASSERT_EQ(1U, getRemotePublishers().size());
        EXPECT_FALSE(getRemotePublishers()[0].isAttached);
        EXPECT_TRUE(isRemoteNow());
    });
}

/// Whoever stops a process does not wait for its threads.
bool isStopped(const std::string& process) {
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + process + "/task")) {
        std::string line;
        std::ifstream stat(thread.path() / "stat");
        std::getline(stat, line);
        if (line.find(") T ") == std::string::npos)
            return false;
    }
    return true;
}

TEST_F(Await, AProcessThatDoesNotAnswerIsNamed) {
    OtherProcess provider(publisher("provider"), {{"id", [] { return std::to_string(::getpid()); }}});
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", provider.started());
        const std::string process = provider.run("id");
        provider.stop();
        waitUntil([&] { return isStopped(process); });
        root();
        attachRemoteGroups();
        EXPECT_FALSE(awaitRemoteGroups({}, milliseconds(50)));
        const auto unusable = getUnusablePublishers();
        ASSERT_EQ(1U, unusable.size());
        EXPECT_EQ(RemoteCallFailed::Fault::timedOut, unusable[0].fault) << unusable[0].cause;
        provider.goOn();
        EXPECT_TRUE(awaitRemoteGroups({"editor"}, seconds(30)));
        EXPECT_EQ(getRemotePublishers()[0].process, unusable[0].process);
        waitUntil([] { return getUnusablePublishers().empty(); });
    });
}

/// A connection to the only process that publishes, which has said whether it goes on.
int connectionToIt() {
    const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    for (const auto& entry :
         std::filesystem::directory_iterator(varnek::spf::ServiceRuntime::endpointFolder()))
        if (entry.is_socket())
            std::strncpy(address.sun_path, entry.path().c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(0, ::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    char greeting[8];
    EXPECT_EQ(8, ::recv(connection, greeting, sizeof greeting, MSG_WAITALL));
    return connection;
}

TEST_F(Await, AProcessWithTooManyClientsIsNamed) {
    OtherProcess provider(publisher("provider"), steps());
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", provider.started());
        std::vector<int> connections;
        while (connections.size() < varnek::spf::limits::connections)
            connections.push_back(connectionToIt());
        root();
        attachRemoteGroups();
        waitUntil([] {
            const auto unusable = getUnusablePublishers();
            return unusable.size() == 1 && unusable[0].fault == RemoteCallFailed::Fault::refused;
        });
        EXPECT_TRUE(getRemotePublishers().empty());
        for (const int connection : connections)
            ::close(connection);
        EXPECT_TRUE(awaitRemoteGroups({"editor"}, seconds(30)));
    });
}

} // namespace
