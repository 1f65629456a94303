#include "spf/MessageGate.hpp"

#include "spf/LimitedStream.hpp"
#include "spf/Limits.hpp"

#include <kj/exception.h>

namespace varnek::spf {
namespace {

namespace rpc = capnp::rpc;

/// Calls and subscriptions of one connection, with room to spare.
constexpr std::size_t mostQuestions = 4 * limits::callsOfConnection;

void require(bool isSound, const char* fault) {
    if (!isSound)
        kj::throwFatalException(KJ_EXCEPTION(FAILED, fault));
}

/// The library's own sum counts the first segment twice.
std::size_t wordsOf(capnp::MessageReader& reader) {
    std::size_t words = 0;
    for (unsigned i = 0;; ++i) {
        const auto segment = reader.getSegment(i);
        if (segment.begin() == nullptr) // some may be empty
            return words;
        words += segment.size();
    }
}

void checkPayload(rpc::Payload::Reader payload) {
    const auto capabilities = payload.getCapTable();
    require(capabilities.size() <= 1, "it passes too many capabilities");
    for (const auto capability : capabilities)
        require(capability.isNone() || capability.isSenderHosted(),
                "it passes a capability that is not its own");
}

void checkReturn(rpc::Return::Reader answer) {
    if (answer.isResults())
        return checkPayload(answer.getResults());
    require(answer.isException() || answer.isCanceled(), "it sends an answer that is somewhere else");
}

} // namespace

void MessageGate::check(capnp::MessageReader& reader, std::size_t unsent) {
    require(unsent <= limits::unsentMessages, "it does not take what is sent to it");
    const auto message = reader.getRoot<rpc::Message>();
    require((message.isReturn() && message.getReturn().isResults()) ||
                wordsOf(reader) <= (limits::requestBytes + envelopeBytes) / sizeof(capnp::word),
            "it sends a message that is too large");
    switch (message.which()) {
    case rpc::Message::BOOTSTRAP:
        return begin(message.getBootstrap().getQuestionId(), true);
    case rpc::Message::CALL:
        return checkCall(message.getCall());
    case rpc::Message::RETURN:
        return checkReturn(message.getReturn());
    case rpc::Message::FINISH:
        questions_.erase(message.getFinish().getQuestionId());
        return;
    case rpc::Message::RELEASE:
    case rpc::Message::ABORT:
        return;
    default:
        require(false, "it sends a message that is not needed");
    }
}

void MessageGate::checkCall(rpc::Call::Reader call) {
    require(call.getSendResultsTo().isCaller(), "it does not want the results itself");
    const auto target = call.getTarget();
    if (!target.isImportedCap()) {
        require(target.isPromisedAnswer(), "it calls something unknown");
        const auto answer = target.getPromisedAnswer();
        const auto question = questions_.find(answer.getQuestionId());
        require(question != questions_.end() && question->second && answer.getTransform().size() == 0,
                "it calls a part of an answer");
    }
    checkPayload(call.getParams());
    begin(call.getQuestionId(), false);
}

void MessageGate::begin(std::uint32_t question, bool isBootstrap) {
    require(questions_.size() < mostQuestions, "it leaves too many questions open");
    require(questions_.emplace(question, isBootstrap).second, "it asks a question twice");
}

} // namespace varnek::spf
