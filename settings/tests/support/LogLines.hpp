#pragma once

#include "varnek/log/Channel.hpp"

#include <string>
#include <vector>

namespace settings::test {

/// Collects what one channel says while it lives.
struct LogLines {
    explicit LogLines(std::string name) : channel(std::move(name)) {
        varnek::log::setLevel(channel, varnek::log::Severity::debug);
        previous =
            varnek::log::setSink([this](std::string_view from, varnek::log::Severity, std::string_view text) {
                if (from == channel)
                    lines.emplace_back(text);
            });
    }
    ~LogLines() {
        varnek::log::setSink(previous);
        varnek::log::setLevel(channel, varnek::log::Severity::off);
    }
    std::string channel;
    varnek::log::Sink previous;
    std::vector<std::string> lines;
};

} // namespace settings::test
