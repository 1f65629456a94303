#include "Remote.hpp"

#include "settingscore/spf/RemoteGroups.hpp"

#include <chrono>
#include <stdexcept>

namespace vksettings {

namespace core = settings::core;

namespace {

/// Processes answer at once unless the machine is busy.
constexpr std::chrono::milliseconds usual{200};
constexpr std::chrono::seconds patience{2};

/// True as soon as it is there; false when all processes that are there have told what they publish.
bool comes(const std::string& group) {
    return core::awaitRemoteGroups({group}, usual) ||
           (core::awaitRemoteGroups({}, patience) && core::awaitRemoteGroups({group}, {}));
}

} // namespace

void attachRemote(const std::string& fullName) {
    root();
    core::attachRemoteGroups();
    const std::string group = fullName.substr(0, fullName.find('.'));
    if (group.empty() ? core::awaitRemoteGroups({}, patience) : comes(group))
        return;
    throw std::invalid_argument(group.empty() ? "no process publishes groups; \"vksettings serve\" does"
                                              : "no process publishes the group \"" + group + "\"");
}

std::vector<Handle> remoteGroups() {
    std::vector<Handle> groups;
    for (const Handle& group : root()->getChildren())
        if (core::isRemote(*group))
            groups.push_back(group);
    return groups;
}

} // namespace vksettings
