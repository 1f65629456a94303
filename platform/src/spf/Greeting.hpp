// What happens before a connection is used: who is there, and does he want to talk?
//
// A process that accepts a connection looks who it is, and sends eight bytes: the version, and whether it
// goes on. Only then is anything else read or written.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>

namespace varnek::spf {

enum class Welcome : std::uint8_t {
    accepted = 0,
    tooMany = 1,   ///< connections
    otherUser = 2, ///< who connects is not the user of this process
};

using Greeting = std::array<unsigned char, 8>;

Greeting greeting(Welcome welcome) noexcept;
/// Nothing for what is no greeting of this version.
std::optional<Welcome> welcomeIn(const Greeting& greeting) noexcept;

/// Who is at the other end, as the system tells it.
struct Peer {
    pid_t process = 0;
    bool isOurUser = false;
};
Peer peerOf(int socket) noexcept;

/// Without waiting; what cannot be sent is not.
void sendGreeting(int socket, Welcome welcome) noexcept;

} // namespace varnek::spf
