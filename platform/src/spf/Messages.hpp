// What processes tell each other, as bytes.
#pragma once

#include "spf/RemoteError.hpp"
#include "spf/Value.hpp"
#include "spf/Words.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace varnek::spf {

/// A call (name: its method), an announcement (its topic) or a published service (its name).
struct Message {
    std::string name;
    Value::List values;
};

// Thread-safe all. Encoding throws RemoteError of kind tooLarge when the message takes more than `limit`
// bytes or nests too deep; decoding throws RemoteError of kind malformed.

Words encodeMessage(std::string_view name, const Value::List& values, std::size_t limit);
Message decodeMessage(kj::ArrayPtr<const capnp::word> words);

Words encodeResult(const Value& result);
/// Of a failure that is too large, only that is told.
Words encodeFailure(const ProviderFailure& failure);
Words encodeError(const RemoteError& error);

/// The result; throws what the provider told.
Value decodeReply(kj::ArrayPtr<const capnp::word> words);

/// The words of bytes in a received message, which lie on a word boundary. RemoteError of kind malformed
/// where they do not fill whole words.
kj::ArrayPtr<const capnp::word> asWords(kj::ArrayPtr<const kj::byte> bytes);

} // namespace varnek::spf
