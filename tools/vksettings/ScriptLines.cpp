#include "ScriptLines.hpp"

#include <poll.h>

#include <array>

namespace vksettings {

std::optional<std::string> ScriptLines::next() {
    std::size_t end = 0;
    while ((end = bytes_.find('\n')) == std::string::npos && !isAtEnd_) {
        if (!waitForInput())
            return std::nullopt;
        std::array<char, 4096> buffer{};
        const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (count > 0)
            bytes_.append(buffer.data(), static_cast<std::size_t>(count));
        else if (count == 0)
            isAtEnd_ = true;
        else if (errno != EINTR && errno != EAGAIN)
            throw std::system_error(errno, std::generic_category(), "cannot read the script");
    }
    if (signals_.isEnding() || signals_.takeInterrupts() || (bytes_.empty() && isAtEnd_))
        return std::nullopt;
    std::string line = bytes_.substr(0, end);
    bytes_.erase(0, end == std::string::npos ? end : end + 1);
    ++number_;
    return line;
}

/// False when a signal asks for the end: Ctrl-C ends a script, as it ends others.
bool ScriptLines::waitForInput() {
    while (true) {
        if (signals_.isEnding() || signals_.takeInterrupts())
            return false;
        std::array<pollfd, 2> waits{{{STDIN_FILENO, POLLIN, 0}, {signals_.descriptor(), POLLIN, 0}}};
        if (::poll(waits.data(), waits.size(), -1) > 0 && waits[0].revents != 0)
            return true;
    }
}

} // namespace vksettings
