/// The levels of all channels, by name. Lives to the end of the process.
#pragma once

#include "varnek/log/Channel.hpp"

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace varnek::log {

/// Levels as `VKSETTINGS_LOG` gives them.
struct LevelSettings {
    std::map<std::string, Severity, std::less<>> levels; // "*" included
    std::vector<std::string> faults;                     // items that are not channel:level
};
LevelSettings parseLevels(std::string_view text);

/// Thread-safe.
class LevelTable {
  public:
    /// The table of the process; the first call reads the environment.
    static LevelTable& instance();

    explicit LevelTable(const LevelSettings& settings);

    /// The state of a channel, made when missing; stays valid for the life of the table.
    const detail::ChannelState& state(std::string_view channel);
    void set(std::string_view channel, Severity severity);

  private:
    detail::ChannelState& find(std::string_view channel); // with mutex_ held

    std::mutex mutex_; // guards all below, never held while other code is called
    std::map<std::string, detail::ChannelState, std::less<>> states_;
    Severity initial_ = Severity::off; // of channels that are not in the table
};

} // namespace varnek::log
