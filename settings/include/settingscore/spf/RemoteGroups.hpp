/// Top-level groups that processes of one user share.
///
/// A process publishes groups of its tree; others attach them. An attached group stands below the root in the
/// place of the process's own group of that name, with ordinary events for the group that goes and the one
/// that comes, and is used through ordinary handles: its groups and settings can be browsed, values be read
/// with `get` as data arrays and be unset, nodes that were added be removed. Every other operation raises its
/// own exception (exception/RemoteFailures.hpp), and typed reads raise
/// SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray. Each operation is a call that waits for its answer,
/// at most 25 seconds. What the other process raises arrives as its own type; everything else that goes wrong
/// is exception::RemoteCallFailed.
///
/// Changes of values in the other process are events here, too. When it withdraws the group or ends, however
/// it ends, the own group is back, again with events; handles to the other one fail from then on. Of several
/// publishers of one group the first is attached, and the next takes over when that one ends. What a process
/// publishes itself it does not attach. A listener that does not return holds up all later events; when it
/// hears of a group that comes or goes, no other group comes or goes meanwhile, nor while the own group is
/// being saved.
///
///     settings::core::init();
///     settings::core::publishTopLevelGroups({"editor"}); // in one process
///
///     settings::core::init();
///     settings::core::attachRemoteGroups(); // in another one
///
/// Processes of other users can neither publish to nor call this one. Thread-safe; none of this works in the
/// child of a fork().
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/exception/RemoteCallFailed.hpp"

#include <chrono>
#include <string>
#include <vector>

namespace settings::core {

class Settings;

/// Publishes groups of the application's tree, which is built if need be, until they are withdrawn or the
/// process ends. Calls are carried out on threads of the library. Groups that are published already stay as
/// they are. Waits until other processes can find the groups, `limit` for each; also when another thread is
/// publishing or withdrawing one of them. What is called in the middle of that (listeners, log sinks,
/// functions of served calls) cannot wait for it, and fails.
///
/// Errors, and then none of the groups is published that was not before, unless another thread was told
/// meanwhile that it is: NoSuchNode for a name without a group; exception::SettingsException with the text
/// "Failed to publish service: " and the cause, or "Timeout publishing services"; those of getSettingsRoot().
SETTINGSCORE_EXPORT void publishTopLevelGroups(const std::vector<std::string>& names,
                                               std::chrono::milliseconds limit = std::chrono::seconds(5));

/// Ends the publication of these groups; other names are left alone. Waits for calls that are under
/// way, and for a thread that is publishing one of them. What is called in the middle of that does not wait,
/// and makes the publishing fail.
SETTINGSCORE_EXPORT void withdrawTopLevelGroups(const std::vector<std::string>& names);

/// The names of the groups that this process publishes.
SETTINGSCORE_EXPORT std::vector<std::string> getPublishedTopLevelGroups();

/// Attaches what other processes publish, now and from now on, to the end of the process; may be called
/// before the tree is built. Does not wait: groups come a little later (awaitRemoteGroups). Calling it again
/// does nothing. Errors: varnek::host::HostError when there is no place to look for other processes,
/// std::system_error when there are no means to watch it, std::runtime_error in the child of a fork().
SETTINGSCORE_EXPORT void attachRemoteGroups();

/// A process that publishes a group.
struct RemotePublisher {
    std::string group;
    std::string process;     ///< tells processes from each other; begins with the process id
    bool isAttached = false; ///< false: another one was first, or this process publishes the group itself
};

/// The publishers known now, in order of the groups; of one group in the order in which they take over.
SETTINGSCORE_EXPORT std::vector<RemotePublisher> getRemotePublishers();

/// A process that may publish groups and cannot be used at the moment.
struct UnusablePublisher {
    std::string process; ///< as that of RemotePublisher
    /// refused: it has too many clients; timedOut: no answer so far
    exception::RemoteCallFailed::Fault fault;
    std::string cause;
};

/// The processes that stand where others look for them, and have not told what they publish, if anything.
/// Nothing before attachRemoteGroups(). The errors of that are its errors.
SETTINGSCORE_EXPORT std::vector<UnusablePublisher> getUnusablePublishers();

/// Waits until these groups are attached; false when the time is over before. Without a name it waits until
/// the processes that are there now have told what they publish and that has been taken in, or the time is
/// over; true when a group of any of them is attached then. A group may wait for another publisher, or be
/// refused because its name differs from that of an own one by case only (getRemotePublishers). Those of
/// getSettingsRoot() are its errors.
SETTINGSCORE_EXPORT bool awaitRemoteGroups(const std::vector<std::string>& names,
                                           std::chrono::milliseconds limit);

/// Whether the node belongs to another process. Does not ask it.
SETTINGSCORE_EXPORT bool isRemote(const Settings& node);

} // namespace settings::core
