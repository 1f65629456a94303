// Peers that send more than can be taken, take nothing, or speak parts of the protocol that nobody needs.

#include "spf/HostilePeers.hpp"
#include "spf/Limits.hpp"

#include <atomic>
#include <sstream>

namespace varnek::spf::test {
namespace {

using capnp::rpc::CapDescriptor;

const std::string refused = std::to_string(static_cast<int>(RemoteErrorKind::refused));

/// Tells of promised capabilities, each the resolution of the one before.
std::string resolutions(std::uint32_t first, std::uint32_t count) {
    std::string bytes;
    for (std::uint32_t promise = first; promise < first + count; ++promise)
        bytes += frame([&](auto message) {
            auto resolve = message.initResolve();
            resolve.setPromiseId(promise);
            resolve.initCap().setSenderPromise(promise + 1);
        });
    return bytes;
}

/// Whether the other side takes all of it.
bool sendChain(RawConnection& connection, std::uint32_t length) {
    constexpr std::uint32_t atOnce = 1000;
    for (std::uint32_t sent = 0; sent < length; sent += atOnce)
        if (!connection.send(resolutions(1 + sent, atOnce)))
            return false;
    return true;
}

std::string endpointCall(const std::function<void(capnp::rpc::Call::Builder)>& change) {
    return frame([&](auto message) {
        auto call = message.initCall();
        call.setQuestionId(1);
        call.initTarget().initPromisedAnswer().setQuestionId(0);
        call.setInterfaceId(capnp::typeId<wire::Endpoint>());
        call.setMethodId(1);
        call.initParams().getContent().template initAs<wire::Endpoint::CallParams>();
        change(call);
    });
}

/// What no client of ours sends, by name.
std::map<std::string, std::string> needlessMessages() {
    using Call = capnp::rpc::Call::Builder;
    std::map<std::string, std::string> result{
        {"resolve", resolutions(1, 1)},
        {"two capabilities", endpointCall([](Call call) { call.getParams().initCapTable(2); })},
        {"promised capability",
         endpointCall([](Call call) { call.getParams().initCapTable(1)[0].setSenderPromise(1); })},
        {"capability of the receiver",
         endpointCall([](Call call) { call.getParams().initCapTable(1)[0].setReceiverHosted(0); })},
        {"results kept", endpointCall([](Call call) { call.getSendResultsTo().setYourself(); })},
        {"part of an answer", endpointCall([](Call call) {
             call.getTarget().getPromisedAnswer().initTransform(1)[0].setGetPointerField(0);
         })},
        {"repeated question", endpointCall([](Call call) { call.setQuestionId(0); })},
        {"answer from elsewhere",
         frame([](auto message) { message.initReturn().setTakeFromOtherQuestion(0); })},
    };
    result["answer to a call"] = serviceCall(1, 1, 0, invocation("block")) + endpointCall([](Call call) {
                                     call.setQuestionId(2);
                                     call.getTarget().getPromisedAnswer().setQuestionId(1);
                                 });
    const auto add = [&](const char* name, auto fill) { result[name] = frame(fill); };
    add("disembargo", [](auto message) { message.initDisembargo().getContext().setSenderLoopback(1); });
    add("provide", [](auto message) { message.initProvide().setQuestionId(1); });
    add("accept", [](auto message) { message.initAccept().setQuestionId(1); });
    add("join", [](auto message) { message.initJoin().setQuestionId(1); });
    add("unimplemented", [](auto message) { message.initUnimplemented().initBootstrap(); });
    return result;
}

TEST_F(HostilePeers, WhatNobodyNeedsEndsItsConnectionOnly) {
    const auto path = socket();
    for (const auto& [name, bytes] : needlessMessages()) {
        RawConnection connection(path);
        ASSERT_EQ(accepted, connection.receive(8));
        connection.send(bootstrap(0) + bytes);
        EXPECT_TRUE(connection.isClosed()) << name;
    }
    expectAlive();
}

/// Each capability of a chain would be destroyed inside of the one before.
TEST_F(HostilePeers, ChainsOfPromisesEndNobody) {
    const auto length = static_cast<std::uint32_t>(times(400'000, 2'000));
    {
        auto connection = begun();
        connection.send(
            listenCall(1, 1, [](auto payload) { payload.initCapTable(1)[0].setSenderPromise(1); }));
        sendChain(connection, length);
        EXPECT_TRUE(connection.isClosed());
    }
    expectAlive();
    PeerProcess client(folder);
    EXPECT_EQ("ok", client.ask("discover"));
    HostileProvider provider(folder);
    {
        RawConnection connection = provider.accept();
        connection.send(accepted);
        connection.send(endpointAnswer([](auto results) { results.initCapTable(1)[0].setSenderPromise(1); }));
        sendChain(connection, length);
        EXPECT_TRUE(connection.isClosed());
    }
    EXPECT_TRUE(comesTrue([&] { return client.ask("found victim") == "yes"; }));
    EXPECT_EQ("ok", client.ask("call victim echo"));
}

/// Four that send all the time, and what is sound: the others are served all the same.
TEST_F(HostilePeers, EndlessSendersHoldUpNobody) {
    PeerProcess client(folder);
    EXPECT_EQ("ok", client.ask("discover"));
    ASSERT_TRUE(comesTrue([&] { return client.ask("found victim") == "yes"; }));
    const std::string nothing = frame([](auto message) { message.initRelease().setReferenceCount(0); });
    std::string many;
    while (many.size() < 100'000)
        many += nothing;
    std::atomic<bool> isOver{false};
    std::atomic<int> sending{0};
    std::vector<std::thread> senders;
    for (int i = 0; i < 4; ++i)
        senders.emplace_back([&, connection = std::make_shared<RawConnection>(begun())] {
            for (int sent = 0; !isOver && connection->send(many); ++sent)
                sending += sent == 3 ? 1 : 0;
        });
    EXPECT_TRUE(comesTrue([&] { return sending == 4; }));
    for (int i = 0; i < times(200, 12); ++i)
        EXPECT_EQ("ok", client.ask("call victim echo")) << i;
    isOver = true;
    for (auto& sender : senders)
        sender.join();
}

/// The connection hears of cancelled calls and of its end, however much it has asked for.
TEST_F(HostilePeers, RequestsBeyondTheirBytesAreRefused) {
    const auto descriptors = peer.descriptors();
    constexpr std::uint32_t most = limits::unansweredBytes / 1'000'000 + 1;
    for (int round = 0; round < times(70, 1); ++round) {
        auto connection = begun();
        for (std::uint32_t question = 1; question <= most; ++question)
            ASSERT_TRUE(connection.send(serviceCall(question, 1, 1'000'000, invocation("block"))));
        std::map<std::uint32_t, std::string> last;
        callsUntilAnswer(connection, most, [&](auto answer) { EXPECT_EQ(refused, endOf(answer)); });
        for (std::uint32_t question = 1; question <= most; ++question)
            ASSERT_TRUE(connection.send(finish(question)));
        ASSERT_TRUE(connection.send(serviceCall(most + 1, 1, 0, invocation("release"))));
        callsUntilAnswer(connection, most + 1, [&](auto answer) { EXPECT_EQ("value", endOf(answer)); });
    }
    EXPECT_TRUE(comesTrue([&] { return peer.descriptors() <= descriptors; }));
    expectAlive();
}

TEST_F(HostilePeers, RepliesThatDoNotFitAreRefusedAlone) {
    auto connection = begun();
    constexpr std::uint32_t calls = 4;
    std::string frames;
    for (std::uint32_t question = 1; question <= calls; ++question)
        frames += serviceCall(question, 1, 0, invocation("size", 60'000'000));
    ASSERT_TRUE(connection.send(frames));
    auto ends = answers(connection, 1 + calls);
    ends.erase(0);
    ASSERT_EQ(calls, ends.size());
    std::size_t values = 0;
    for (const auto& [question, end] : ends) {
        EXPECT_TRUE(end == "value" || end == refused) << end;
        values += end == "value" ? 1 : 0;
    }
    EXPECT_LE(2u, values);
    ASSERT_TRUE(connection.send(serviceCall(calls + 1, 1, 0, invocation("echo"))));
    EXPECT_EQ("value", answers(connection, 1)[calls + 1]);
}

/// Nothing is read while they come: one worker carries out all calls of the connection, in order.
TEST_F(HostilePeers, SmallRepliesComeBesideLargeOnesThatWait) {
    auto others = begun();
    constexpr auto most = static_cast<std::uint32_t>(limits::sharedWorkers + 1);
    for (std::uint32_t question = 1; question <= most; ++question)
        ASSERT_TRUE(others.send(serviceCall(question, 1, 0, invocation("block"))));
    auto connection = begun();
    std::uint32_t question = 0;
    ASSERT_TRUE(comesTrue([&] {
        std::int64_t blocked = 0;
        EXPECT_TRUE(connection.send(serviceCall(++question, 1, 0, invocation("blocked"))));
        callsUntilAnswer(connection, question, [&](auto answer) { blocked = integerOf(answer); });
        return blocked == most;
    }));
    std::string frames;
    const auto add = [&](std::uint32_t count, const std::string& content) {
        for (std::uint32_t i = 0; i < count; ++i)
            frames += serviceCall(++question, 1, 0, content);
        return question + 1;
    };
    const std::uint32_t large = question + 1;
    const std::uint32_t middle = add(2, invocation("size", 67'000'000));
    const std::uint32_t small = add(80, invocation("size", 20'000)); // until they are refused
    add(400, invocation("echo"));
    const std::uint32_t end = add(1, invocation("release"));
    ASSERT_TRUE(connection.send(frames));
    callsUntilAnswer(others, most); // now all have been carried out
    auto ends = answers(connection, end - large);
    ASSERT_EQ(end - large, ends.size());
    EXPECT_EQ("value", ends[middle]);
    EXPECT_EQ(refused, ends[small - 1]);
    for (std::uint32_t i = small; i < end; ++i)
        EXPECT_EQ("value", ends[i]) << i;
}

/// Questions that are left open, and answers that are not read.
TEST_F(HostilePeers, WhatHeapsUpEndsItsConnection) {
    const auto path = socket();
    const auto before = statusOf(peer.pid(), "VmRSS:");
    const auto isCutOff = [&](const std::function<std::string(std::uint32_t)>& next) {
        RawConnection connection(path);
        EXPECT_EQ(accepted, connection.receive(8));
        bool isTaken = connection.send(bootstrap(0));
        const auto most = static_cast<std::uint32_t>(times(300'000, 30'000));
        for (std::uint32_t question = 1; isTaken && question < most; ++question)
            isTaken = connection.send(next(question));
        return !isTaken;
    };
    EXPECT_TRUE(isCutOff(bootstrap));
    EXPECT_TRUE(isCutOff([](std::uint32_t question) { return bootstrap(question) + finish(question); }));
    EXPECT_TRUE(isCutOff([](std::uint32_t question) { return serviceCall(question, 777, 8); }));
    const auto listener = [](auto payload) { payload.initCapTable(1)[0].setSenderHosted(5); };
    EXPECT_TRUE(isCutOff([&](std::uint32_t question) {
        return listenCall(question, 777, listener) + frame([&](auto message) {
                   message.initFinish().setQuestionId(question);
                   message.getFinish().setReleaseResultCaps(false);
               });
    }));
    EXPECT_GT(before + mayGrowBy(64 * 1024), statusOf(peer.pid(), "VmRSS:"));
    expectAlive();
}

} // namespace
} // namespace varnek::spf::test
