#include "spf/LimitedStream.hpp"

#include "spf/Limits.hpp"

namespace varnek::spf {

Line::Line(kj::LowLevelAsyncIoProvider& provider, GuardedDescriptor itsSocket)
    : socket(std::move(itsSocket)),
      stream(provider.wrapSocketFd(socket.get(), kj::LowLevelAsyncIoProvider::ALREADY_CLOEXEC |
                                                     kj::LowLevelAsyncIoProvider::ALREADY_NONBLOCK)) {}

kj::Promise<kj::Maybe<capnp::MessageReaderAndFds>>
LimitedStream::tryReadMessage(kj::ArrayPtr<kj::AutoCloseFd> fdSpace, capnp::ReaderOptions options,
                              kj::ArrayPtr<capnp::word> scratchSpace) {
    options.traversalLimitInWords = mostWords_;
    return messages_.tryReadMessage(fdSpace, options, scratchSpace)
        .then([this](kj::Maybe<capnp::MessageReaderAndFds> message) {
            KJ_IF_MAYBE (read, message)
                check_(*read->reader);
            else
                whenOver_(nullptr);
            return message;
        })
        .catch_([this](kj::Exception&& fault) -> kj::Maybe<capnp::MessageReaderAndFds> {
            whenOver_(&fault);
            kj::throwFatalException(kj::mv(fault));
        });
}

capnp::ReaderOptions networkOptions() {
    capnp::ReaderOptions options;
    options.traversalLimitInWords = (limits::replyBytes + envelopeBytes) / sizeof(capnp::word);
    return options;
}

} // namespace varnek::spf
