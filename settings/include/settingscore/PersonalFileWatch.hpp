/// Follows what other processes write into the personal settings files.
///
///     const settings::core::PersonalFileWatch watch; // for as long as the application runs
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/level/RootIndex.hpp"

#include <memory>

namespace settings::core {

/// While it lives, a personal file of the tree that changes is read again at level "user": values that this
/// process has not changed itself become those of the file, groups and settings that users added or removed
/// come and go, all with the ordinary events. What this process saves itself brings no second event. A
/// file that cannot be read changes nothing. It follows the preferences directory where updatePrefdir() moves
/// it, and a tree that MSettings::reset() builds anew, in the folder of before.
///
/// It has a thread of its own, on which listeners of these events run when nobody else is handing events on.
/// One for each tree is enough. Failures while it runs go to the log channel
/// "settings::core::settingsFile". Making and destroying it is not synchronised. In the child of a fork() it
/// follows nothing.
class SETTINGSCORE_EXPORT PersonalFileWatch {
  public:
    /// Takes over at once what has changed since the files were read, events included. Builds the tree as
    /// getSettingsRoot does and fails like it; std::system_error when the system gives no means to watch.
    explicit PersonalFileWatch(const RootIndex& index = DefaultRootIndex());
    PersonalFileWatch(const PersonalFileWatch&) = delete;
    PersonalFileWatch& operator=(const PersonalFileWatch&) = delete;
    /// Waits for a running listener of its thread, unless that is the caller: a listener may destroy it.
    ~PersonalFileWatch();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace settings::core
