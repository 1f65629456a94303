#include "spf/Messages.hpp"

#include "spf/Limits.hpp"
#include "spf/ValueEncoding.hpp"

#include <capnp/message.h>
#include <capnp/serialize.h>
#include <kj/exception.h>

#include <cstdint>

namespace varnek::spf {
namespace {

constexpr std::size_t longestErrorText = 4096;

kj::ArrayPtr<const kj::byte> bytesOf(std::string_view text) {
    return {reinterpret_cast<const kj::byte*>(text.data()), text.size()};
}

std::string textOf(capnp::Data::Reader bytes) {
    return {reinterpret_cast<const char*>(bytes.begin()), bytes.size()};
}

void checkSize(std::size_t words, std::size_t limit) {
    if (words > limit / sizeof(capnp::word))
        throw RemoteError(RemoteErrorKind::tooLarge,
                          "A message of " + std::to_string(words * sizeof(capnp::word)) + " bytes, where " +
                              std::to_string(limit) + " are allowed");
}

/// One segment of exactly the size that was found out before.
template <class Root, class Fill>
Words build(std::size_t wordsBeyondRoot, std::size_t limit, Fill fill) {
    const std::size_t size = 1 + capnp::sizeInWords<Root>() + wordsBeyondRoot;
    checkSize(size, limit);
    Words words(size);
    capnp::FlatMessageBuilder builder(words.all());
    fill(builder.initRoot<Root>());
    builder.requireFilled();
    return words;
}

/// Reads a message of one segment. What it may reach is what came, and a little for the way there.
template <class Root, class Take>
auto parse(kj::ArrayPtr<const capnp::word> words, Take take) {
    capnp::ReaderOptions options;
    options.traversalLimitInWords = words.size() + 64;
    options.nestingLimit = 4 * static_cast<int>(limits::depth);
    try {
        const kj::ArrayPtr<const capnp::word> segments[] = {words};
        capnp::SegmentArrayMessageReader reader(segments, options);
        return take(reader.getRoot<Root>());
    } catch (const kj::Exception& fault) {
        throw RemoteError(RemoteErrorKind::malformed,
                          std::string("A malformed message: ") + fault.getDescription().cStr());
    }
}

Words buildError(RemoteErrorKind kind, std::string_view text) {
    return build<wire::Reply>(wordsOfBytes(text.size()), limits::replyBytes, [&](wire::Reply::Builder reply) {
        auto error = reply.initError();
        error.setKind(static_cast<std::uint8_t>(kind));
        error.setText(bytesOf(text));
    });
}

[[noreturn]] void throwError(wire::Reply::Error::Reader error) {
    const auto kind = error.getKind();
    if (kind > static_cast<std::uint8_t>(RemoteErrorKind::unknownMethod))
        throw RemoteError(RemoteErrorKind::malformed,
                          "An error of an unknown kind: " + textOf(error.getText()));
    throw RemoteError(static_cast<RemoteErrorKind>(kind), textOf(error.getText()));
}

} // namespace

Words encodeMessage(std::string_view name, const Value::List& values, std::size_t limit) {
    Allowance allowance(RemoteErrorKind::tooLarge);
    const std::size_t size = wordsOfBytes(name.size()) + ValueEncoding::size(values, allowance);
    return build<wire::Message>(size, limit, [&](wire::Message::Builder message) {
        message.setName(bytesOf(name));
        ValueEncoding::write(values, message.initValues(static_cast<capnp::uint>(values.size())));
    });
}

Message decodeMessage(kj::ArrayPtr<const capnp::word> words) {
    return parse<wire::Message>(words, [](wire::Message::Reader message) {
        Allowance allowance(RemoteErrorKind::malformed);
        return Message{textOf(message.getName()), ValueEncoding::read(message.getValues(), allowance)};
    });
}

Words encodeResult(const Value& result) {
    Allowance allowance(RemoteErrorKind::tooLarge);
    const std::size_t size = capnp::sizeInWords<wire::Value>() + ValueEncoding::size(result, allowance);
    return build<wire::Reply>(size, limits::replyBytes, [&](wire::Reply::Builder reply) {
        ValueEncoding::write(result, reply.initResult());
    });
}

Words encodeFailure(const ProviderFailure& failure) {
    const std::string_view text = failure.what();
    Allowance allowance(RemoteErrorKind::tooLarge);
    const std::size_t size = wordsOfBytes(failure.type().size()) + wordsOfBytes(text.size()) +
                             ValueEncoding::size(failure.fields(), allowance);
    return build<wire::Reply>(size, limits::replyBytes, [&](wire::Reply::Builder reply) {
        auto told = reply.initFailure();
        told.setType(bytesOf(failure.type()));
        told.setText(bytesOf(text));
        ValueEncoding::write(failure.fields(),
                             told.initFields(static_cast<capnp::uint>(failure.fields().size())));
    });
}

Words encodeError(const RemoteError& error) {
    return buildError(error.kind(), std::string_view(error.what()).substr(0, longestErrorText));
}

Value decodeReply(kj::ArrayPtr<const capnp::word> words) {
    return parse<wire::Reply>(words, [](wire::Reply::Reader reply) {
        Allowance allowance(RemoteErrorKind::malformed);
        switch (reply.which()) {
        case wire::Reply::RESULT:
            allowance.take(1);
            return ValueEncoding::read(reply.getResult(), allowance);
        case wire::Reply::FAILURE: {
            const auto failure = reply.getFailure();
            throw ProviderFailure(textOf(failure.getType()), textOf(failure.getText()),
                                  ValueEncoding::read(failure.getFields(), allowance));
        }
        case wire::Reply::ERROR:
            throwError(reply.getError());
        }
        throw RemoteError(RemoteErrorKind::malformed, "A reply of an unknown kind");
    });
}

kj::ArrayPtr<const capnp::word> asWords(kj::ArrayPtr<const kj::byte> bytes) {
    if (bytes.size() % sizeof(capnp::word) != 0 ||
        reinterpret_cast<std::uintptr_t>(bytes.begin()) % alignof(capnp::word) != 0)
        throw RemoteError(RemoteErrorKind::malformed, "A message that does not fill whole words");
    return {reinterpret_cast<const capnp::word*>(bytes.begin()), bytes.size() / sizeof(capnp::word)};
}

} // namespace varnek::spf
