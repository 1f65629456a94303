// Any bytes read as a message and as a reply of another process: refused as malformed, or values that their own
// encoding gives back unchanged.
#include "spf/Limits.hpp"
#include "spf/Messages.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace varnek::spf;

void check(const Value& value) {
    if (decodeReply(encodeResult(value).all()) != value)
        std::abort();
}

template <class Work>
void refusedOr(Work work) {
    try {
        work();
    } catch (const RemoteError&) {
    } catch (const ProviderFailure&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Words words(kj::arrayPtr(data, size));
    refusedOr([&] {
        const Message message = decodeMessage(words.all());
        check(message.values);
        const Message again = decodeMessage(encodeMessage(message.name, message.values, limits::replyBytes).all());
        if (again.name != message.name || again.values != message.values)
            std::abort();
    });
    refusedOr([&] { check(decodeReply(words.all())); });
    return 0;
}
