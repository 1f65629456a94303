/// Lines of a script on standard input.
#pragma once

#include "SessionSignals.hpp"

#include <optional>
#include <string>

namespace vksettings {

/// Confined to one thread.
class ScriptLines {
  public:
    explicit ScriptLines(SessionSignals& signals) : signals_(signals) {}

    /// The next line, without its end; the last one may lack it. Nothing at the end, and when a signal asks
    /// for it. std::system_error when standard input cannot be read.
    std::optional<std::string> next();
    /// Of the line that came last, from 1 on.
    std::size_t number() const noexcept { return number_; }

  private:
    bool waitForInput();

    SessionSignals& signals_;
    std::string bytes_; // that have come, not yet taken
    bool isAtEnd_ = false;
    std::size_t number_ = 0;
};

} // namespace vksettings
