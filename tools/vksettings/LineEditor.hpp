/// Lines that a user types at a terminal, with editing, history and completion.
#pragma once

#include "CommandHistory.hpp"
#include "Completion.hpp"
#include "SessionSignals.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vksettings {

/// Confined to one thread, except for printAbove(). One for the process. Standard input and output are the
/// terminal.
class LineEditor {
  public:
    /// What follows the line up to the cursor.
    using Completer = std::function<Completion(std::string_view begun)>;

    LineEditor(SessionSignals& signals, Completer completer);
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;
    ~LineEditor();

    /// The next line, without its end. Empty where Ctrl-C drops it. Nothing at Ctrl-D on an empty line, when
    /// the terminal is gone and when a signal asks for the end.
    std::optional<std::string> next();

    /// Has a line appear above the one that is being typed, or above the next one. From any thread.
    void printAbove(std::string line);

  private:
    struct State;
    const std::unique_ptr<State> state_;
};

} // namespace vksettings
