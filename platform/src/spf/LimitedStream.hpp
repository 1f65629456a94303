// The messages of one connection, those that come in limited in size and checked.
#pragma once

#include "spf/Descriptors.hpp"

#include <capnp/serialize-async.h>
#include <kj/async-io.h>
#include <kj/function.h>

#include <cstddef>

namespace varnek::spf {

/// A socket and the stream over it, which goes first.
struct Line {
    Line(kj::LowLevelAsyncIoProvider& provider, GuardedDescriptor itsSocket);

    GuardedDescriptor socket;
    kj::Own<kj::AsyncIoStream> stream;
};

/// Confined to the thread of its event loop. The size of a message is checked before there is memory for it.
class LimitedStream final : public capnp::MessageStream {
  public:
    using Check = kj::Function<void(capnp::MessageReader&)>;
    using WhenOver = kj::Function<void(const kj::Exception*)>;

    /// `check` is called for each message and throws kj::Exception for what is wrong with it; `whenOver` when
    /// nothing comes any more: null for the end of the stream, else what is wrong.
    LimitedStream(kj::AsyncIoStream& stream, std::size_t mostBytes, Check check, WhenOver whenOver)
        : messages_(stream), mostWords_(mostBytes / sizeof(capnp::word)), check_(kj::mv(check)),
          whenOver_(kj::mv(whenOver)) {}

    kj::Promise<kj::Maybe<capnp::MessageReaderAndFds>>
    tryReadMessage(kj::ArrayPtr<kj::AutoCloseFd> fdSpace, capnp::ReaderOptions options,
                   kj::ArrayPtr<capnp::word> scratchSpace) override;
    kj::Promise<void> writeMessage(kj::ArrayPtr<const int> fds,
                                   kj::ArrayPtr<const kj::ArrayPtr<const capnp::word>> segments) override {
        return messages_.writeMessage(fds, segments);
    }
    kj::Promise<void>
    writeMessages(kj::ArrayPtr<kj::ArrayPtr<const kj::ArrayPtr<const capnp::word>>> messages) override {
        return messages_.writeMessages(messages);
    }
    kj::Maybe<int> getSendBufferSize() override { return messages_.getSendBufferSize(); }
    kj::Promise<void> end() override { return messages_.end(); }

  private:
    capnp::AsyncIoMessageStream messages_;
    std::size_t mostWords_;
    Check check_;
    WhenOver whenOver_;
};

/// Room for the envelope of a call around its bytes.
inline constexpr std::size_t envelopeBytes = 16 * 1024;

/// For a network whose stream limits what it reads: of what is written, too.
capnp::ReaderOptions networkOptions();

} // namespace varnek::spf
