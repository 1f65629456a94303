/// Events that are about a tree as a whole.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/level/RootIndex.hpp"

namespace settings::core {

class UpdatePrefdirEvent;

namespace detail {

/// Makes an event about the root of a tree and hands it on like the events of the tree's changes: to the
/// notification hook, the queue and the listeners, in its place among them. Thread-safe; to be called without
/// locks.
///
/// SettingsLibraryNotInitialized when there is no tree of that index and it is not built on demand. Exists
/// for UpdatePrefdirEvent.
template <class Event>
void createAndBroadcastEvent(const RootIndex& tree);

extern template SETTINGSCORE_EXPORT void createAndBroadcastEvent<UpdatePrefdirEvent>(const RootIndex& tree);

} // namespace detail
} // namespace settings::core
