/// Messages between processes as they travel, made and read without the library that does so otherwise.
#pragma once

#include "spf/PeerProcess.hpp"

#include <capnp/message.h>
#include <capnp/rpc.capnp.h>
#include <capnp/serialize.h>
#include <spf/Remote.capnp.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace varnek::spf::test {

template <class Fill>
std::string frame(Fill fill) {
    capnp::MallocMessageBuilder builder;
    fill(builder.initRoot<capnp::rpc::Message>());
    const auto words = capnp::messageToFlatArray(builder);
    return {reinterpret_cast<const char*>(words.begin()), words.size() * sizeof(capnp::word)};
}

inline std::string bootstrap(std::uint32_t question) {
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
inline std::string serviceCall(std::uint32_t question, std::uint64_t publication, std::size_t requestBytes,
                               const std::string& content = {}) {
    return callFrame(question, 1, [&](auto payload) {
        auto params = payload.initContent().template initAs<wire::Endpoint::CallParams>();
        params.setPublication(publication);
        auto request = params.initRequest(static_cast<capnp::uint>(std::max(requestBytes, content.size())));
        std::memcpy(request.begin(), content.data(), content.size());
    });
}

inline std::string invocation(const std::string& method, std::optional<std::int64_t> argument = {}) {
    capnp::MallocMessageBuilder builder;
    auto message = builder.initRoot<wire::Message>();
    message.setName({reinterpret_cast<const kj::byte*>(method.data()), method.size()});
    if (argument)
        message.initValues(1)[0].setInteger(*argument);
    const auto bytes = builder.getSegmentsForOutput()[0].asBytes();
    return {reinterpret_cast<const char*>(bytes.begin()), bytes.size()};
}

/// A capability pointer to the first of the table of capabilities, in place of a null pointer at the end.
inline std::string withCapability(std::string bytes) {
    bytes[bytes.size() - sizeof(capnp::word)] = 3;
    return bytes;
}

/// The answer to the question for the endpoint; `fill` makes the table of capabilities.
template <class Fill>
std::string endpointAnswer(Fill fill) {
    std::string bytes = frame([&](auto message) { fill(message.initReturn().initResults()); });
    constexpr std::size_t wordsBefore = 7; // the head, and the structures around the content
    bytes[wordsBefore * sizeof(capnp::word)] = 3;
    return bytes;
}

/// A listener without a topic; `fill` makes the table of capabilities.
template <class Fill>
std::string listenCall(std::uint32_t question, std::uint64_t publication, Fill fill) {
    return withCapability(callFrame(question, 2, [&](auto payload) {
        fill(payload);
        payload.getContent().template initAs<wire::Endpoint::ListenParams>().setPublication(publication);
    }));
}

inline std::string finish(std::uint32_t question) {
    return frame([&](auto message) { message.initFinish().setQuestionId(question); });
}

/// What a sound client would send: for the endpoint, and a call of it.
inline std::string soundFrames(std::uint64_t publication, std::size_t requestBytes) {
    return bootstrap(0) + serviceCall(1, publication, requestBytes);
}

/// Reads one message and looks at it. False at the end of the stream.
inline bool nextMessage(RawConnection& connection,
                        const std::function<void(capnp::rpc::Message::Reader)>& look) {
    std::string bytes = connection.receive(8);
    if (bytes.size() != 8)
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
    capnp::ReaderOptions options;
    options.traversalLimitInWords = 2 * aligned.size() + 1024;
    capnp::FlatArrayMessageReader reader(aligned, options);
    look(reader.getRoot<capnp::rpc::Message>());
    return true;
}

/// Until the answer to the question. How many calls came before it.
inline std::size_t callsUntilAnswer(RawConnection& connection, std::uint32_t question,
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

/// What `look` makes of the reply to a call of a service.
template <class Look>
auto lookAtReply(capnp::rpc::Payload::Reader results, Look look) {
    const auto bytes = results.getContent().getAs<wire::Endpoint::CallResults>().getReply();
    const kj::ArrayPtr<const capnp::word> segments[] = {
        {reinterpret_cast<const capnp::word*>(bytes.begin()), bytes.size() / sizeof(capnp::word)}};
    capnp::SegmentArrayMessageReader reader(segments);
    return look(reader.getRoot<wire::Reply>());
}

/// How a call of a service ended: "value", or the number of the kind of its error, or something else.
inline std::string endOf(capnp::rpc::Return::Reader answer) {
    if (!answer.isResults())
        return "no results";
    return lookAtReply(answer.getResults(), [](wire::Reply::Reader reply) -> std::string {
        return reply.isResult()  ? "value"
               : reply.isError() ? std::to_string(reply.getError().getKind())
                                 : "failure";
    });
}

/// The integer that a call of a service came to.
inline std::int64_t integerOf(capnp::rpc::Return::Reader answer) {
    return lookAtReply(answer.getResults(),
                       [](wire::Reply::Reader reply) { return reply.getResult().getInteger(); });
}

/// Until as many answers have come, of the endpoint (question 0) and of calls. How each of them ended; fewer
/// where no more come.
inline std::map<std::uint32_t, std::string> answers(RawConnection& connection, std::size_t count) {
    std::map<std::uint32_t, std::string> ends;
    const auto see = [&](capnp::rpc::Message::Reader message) {
        if (message.isReturn())
            ends[message.getReturn().getAnswerId()] =
                message.getReturn().getAnswerId() == 0 ? "endpoint" : endOf(message.getReturn());
    };
    while (ends.size() < count && nextMessage(connection, see)) {
    }
    return ends;
}

} // namespace varnek::spf::test
