#include "Shell.hpp"

#include "Changes.hpp"
#include "LineEditor.hpp"
#include "ScriptLines.hpp"
#include "Words.hpp"

#include "settingscore/PersonalFileWatch.hpp"
#include "settingscore/startup/Readiness.hpp"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

namespace vksettings {

namespace {

bool isSession = false;

/// Does the lines, whoever reads them.
class Session {
  public:
    Session(const LineRunner& runLine, SessionSignals& signals) : runLine_(runLine), signals_(signals) {}

    /// The outcome of one line.
    ExitCode run(const std::string& line, const std::string& where) {
        std::vector<std::string> words;
        try {
            words = wordsOf(line);
        } catch (const std::invalid_argument& failure) {
            std::cerr << "vksettings: " << where << failure.what() << '\n';
            return usage;
        }
        if (words.empty())
            return done;
        if (words.size() == 1 && (words.front() == "exit" || words.front() == "quit")) {
            isOver_ = true;
            return done;
        }
        const ExitCode code = runLine_(words, where);
        std::cout.flush();
        isOver_ = !std::cout; // nobody reads it any more
        followFiles(where);
        return code;
    }
    bool isOver() { return isOver_ || signals_.isEnding(); }

    /// What other processes write is taken over from the first use of the tree on: a session that only makes
    /// factory files needs none.
    void followFiles(const std::string& where) {
        if (files_ != nullptr || isUnwatched_ || !settings::core::detail::isSettingsTreeReady())
            return;
        try {
            files_ = std::make_unique<settings::core::PersonalFileWatch>();
        } catch (const std::exception& failure) {
            isUnwatched_ = true;
            std::cerr << "vksettings: " << where
                      << "warning: changes of other processes are not followed: " << failure.what() << '\n';
        }
    }

  private:
    const LineRunner& runLine_;
    SessionSignals& signals_;
    std::unique_ptr<settings::core::PersonalFileWatch> files_;
    bool isUnwatched_ = false;
    bool isOver_ = false;
};

ExitCode runScript(Session& session, SessionSignals& signals) {
    ScriptLines lines(signals);
    ExitCode first = done;
    while (!session.isOver()) {
        const auto line = lines.next();
        if (!line)
            break;
        const ExitCode code = session.run(*line, "line " + std::to_string(lines.number()) + ": ");
        if (first == done)
            first = code;
    }
    return first;
}

ExitCode runAtTerminal(Session& session, const CommandWords& commands, SessionSignals& signals,
                       Language& language) {
    LineEditor editor(signals, [&](std::string_view begun) {
        Completion completion; // definitions may be code of the language
        language.run([&] {
            completion = complete(commands, begun);
            return done;
        });
        session.followFiles({});
        return completion;
    });
    const Changes changes([&](const EventLine& line) {
        if (!PrintingChanges::isSomewhere())
            editor.printAbove(line.text());
    });
    while (!session.isOver()) {
        const auto line = editor.next();
        if (!line)
            break;
        session.run(*line, {});
    }
    return done;
}

} // namespace

bool isInShell() noexcept {
    return isSession;
}

ExitCode shell(const LineRunner& runLine, const std::function<CommandWords()>& commands, Language& language) {
    SessionSignals signals;
    isSession = true;
    Session session(runLine, signals);
    if (::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1)
        return runAtTerminal(session, commands(), signals, language);
    return runScript(session, signals);
}

} // namespace vksettings
