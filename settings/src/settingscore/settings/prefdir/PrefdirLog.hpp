/// What is said about the preferences directory, on the channel "settings::core::settingsPathUtil".
#pragma once

#include "varnek/log/Channel.hpp"

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace settings::core::detail {

/// Keeps the lines of its thread while it lives, and writes them at its end. Whoever holds a lock opens one
/// before: sinks may ask for the directory. One per thread at a time.
class HeldLines {
  public:
    HeldLines() noexcept;
    HeldLines(const HeldLines&) = delete;
    HeldLines& operator=(const HeldLines&) = delete;
    ~HeldLines();

  private:
    friend class PrefdirLine;
    std::vector<std::pair<varnek::log::Severity, std::string>> lines_;
};

/// One line under construction; written, or held, when it goes out of scope.
class PrefdirLine {
  public:
    explicit PrefdirLine(varnek::log::Severity severity) : severity_(severity) {}
    PrefdirLine(const PrefdirLine&) = delete;
    PrefdirLine& operator=(const PrefdirLine&) = delete;
    ~PrefdirLine();

    template <class T>
    PrefdirLine& operator<<(const T& value) {
        text_ << value;
        return *this;
    }

  private:
    varnek::log::Severity severity_;
    std::ostringstream text_;
};

} // namespace settings::core::detail
