#pragma once

#include "varnek/log/Channel.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace settings::test {

/// Does something once, when a line with `text` is said for the n-th time.
class AtLine {
  public:
    AtLine(std::string channel, std::string text, std::function<void()> action, int times = 1)
        : channel_(std::move(channel)) {
        varnek::log::setLevel(channel_, varnek::log::Severity::info);
        before_ = varnek::log::setSink([this, text = std::move(text), action = std::move(action), times](
                                           std::string_view, varnek::log::Severity, std::string_view line) {
            if (line.find(text) != std::string_view::npos && ++said_ == times)
                action();
        });
    }
    AtLine(const AtLine&) = delete;
    AtLine& operator=(const AtLine&) = delete;
    ~AtLine() {
        varnek::log::setSink(before_);
        varnek::log::setLevel(channel_, varnek::log::Severity::off);
        EXPECT_LT(0, said_);
    }

  private:
    std::string channel_;
    varnek::log::Sink before_;
    int said_ = 0;
};

} // namespace settings::test
