/// An interactive session, or a script, on one tree.
#pragma once

#include "Commands.hpp"
#include "Completion.hpp"
#include "Language.hpp"

#include <functional>
#include <string>
#include <vector>

namespace vksettings {

/// Does one command line; a failure is told on standard error, after `where`. Raises nothing.
using LineRunner = std::function<ExitCode(const std::vector<std::string>& words, const std::string& where)>;

/// Reads commands from standard input until it ends, or "exit"; at a terminal with editing, history and
/// completion, and with what other processes change printed above the line. The code of the first command
/// that failed in a script; `done` at a terminal. To be called while the process has one thread.
/// `commands` says what can be completed.
ExitCode shell(const LineRunner& runLine, const std::function<CommandWords()>& commands, Language& language);

/// Whether the process outlives the command: values of level "session" make sense then.
bool isInShell() noexcept;

} // namespace vksettings
