// Diagnostic lines of the room, on the channel "varnek::spf".
#pragma once

#include "varnek/log/Channel.hpp"

#include <sstream>
#include <string>

namespace varnek::spf {

extern log::Channel journal;

namespace detail {
void writeAside(log::Severity severity, std::string text) noexcept;
}

/// Writes a line on a thread of its own: sinks are foreign code, for which the thread of the event loop has
/// no time. Lines that a sink is too slow for are dropped.
template <class... Parts>
void note(log::Severity severity, const Parts&... parts) noexcept {
    if (!journal.enabled(severity))
        return;
    try {
        std::ostringstream text;
        (text << ... << parts);
        detail::writeAside(severity, text.str());
    } catch (...) { // no memory for a line
    }
}

} // namespace varnek::spf
