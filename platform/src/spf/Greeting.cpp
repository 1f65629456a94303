#include "spf/Greeting.hpp"

#include <sys/socket.h>
#include <unistd.h>

namespace varnek::spf {
namespace {

constexpr std::uint8_t version = 1;

} // namespace

Greeting greeting(Welcome welcome) noexcept {
    return {'v', 'k', 's', 'p', 'f', version, static_cast<std::uint8_t>(welcome), 0};
}

std::optional<Welcome> welcomeIn(const Greeting& received) noexcept {
    for (const Welcome welcome : {Welcome::accepted, Welcome::tooMany, Welcome::otherUser})
        if (received == greeting(welcome))
            return welcome;
    return std::nullopt;
}

Peer peerOf(int socket) noexcept {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return {};
    return {credentials.pid, credentials.uid == ::geteuid()};
}

void sendGreeting(int socket, Welcome welcome) noexcept {
    const Greeting bytes = greeting(welcome);
    [[maybe_unused]] const auto sent =
        ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

} // namespace varnek::spf
