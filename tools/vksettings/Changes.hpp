/// What changes in the tree of the tool, as lines.
#pragma once

#include "EventLine.hpp"

#include "varnek/event/EventManager.hpp"

#include <functional>
#include <memory>
#include <ostream>

namespace vksettings {

/// Hears of every change from the making of the object to its end.
class Changes {
  public:
    /// Called with lines that are not empty, one at a time, on the thread that hands the events on.
    using Take = std::function<void(const EventLine& line)>;

    explicit Changes(Take take, bool asJson = false);
    Changes(const Changes&) = delete;
    Changes& operator=(const Changes&) = delete;
    ~Changes() { end(); }

    /// No call is made and none runs afterwards.
    void end();
    /// The same without waiting: a line that is being made, perhaps of a value that another process is asked
    /// for, is dropped.
    void leave();

  private:
    struct Taker;

    const std::shared_ptr<Taker> taker_; // outlives a call that nobody waits for
    varnek::event::Connection connection_;
};

/// Stands where a command prints the changes itself, so that the session does not print them as well.
class PrintingChanges {
  public:
    PrintingChanges() noexcept;
    PrintingChanges(const PrintingChanges&) = delete;
    PrintingChanges& operator=(const PrintingChanges&) = delete;
    ~PrintingChanges();

    static bool isSomewhere() noexcept;
};

/// Prints every change to `out` while it lives: for commands that say what they have changed.
class PrintedChanges {
  public:
    explicit PrintedChanges(std::ostream& out);

  private:
    const PrintingChanges printing_;
    const Changes changes_;
};

} // namespace vksettings
