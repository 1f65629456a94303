/// What the log channels of attaching, publishing and files say, from any thread, while it lives.
#pragma once

#include "varnek/log/Channel.hpp"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace settings::test {

using Lines = std::vector<std::string>;

class SharingLog {
  public:
    SharingLog() {
        for (const std::string_view channel : channels)
            varnek::log::setLevel(channel, varnek::log::Severity::info);
        varnek::log::setSink([this](std::string_view from, varnek::log::Severity, std::string_view text) {
            const std::lock_guard lock(mutex_);
            if (std::find(std::begin(channels), std::end(channels), from) != std::end(channels))
                lines_.emplace_back(text);
        });
    }
    SharingLog(const SharingLog&) = delete;
    SharingLog& operator=(const SharingLog&) = delete;
    ~SharingLog() { varnek::log::setSink({}); }

    /// The lines that begin with one of these.
    Lines among(const Lines& beginnings) const {
        const std::lock_guard lock(mutex_);
        Lines found;
        for (const std::string& line : lines_)
            if (std::any_of(beginnings.begin(), beginnings.end(),
                            [&](const std::string& beginning) { return line.starts_with(beginning); }))
                found.push_back(line);
        return found;
    }

  private:
    static constexpr std::string_view channels[] = {"settings::core::spf", "settings::core::settingsImplRoot",
                                                    "settings::core::settingsFile"};
    mutable std::mutex mutex_;
    Lines lines_;
};

} // namespace settings::test
