#include "Remote.hpp"

#include "settingscore/spf/RemoteGroups.hpp"

#include <chrono>
#include <stdexcept>

namespace vksettings {

namespace core = settings::core;

namespace {

/// For processes that are there: they answer at once unless the machine is busy.
constexpr std::chrono::seconds patience{2};

} // namespace

void attachRemote(const std::string& fullName) {
    root();
    core::attachRemoteGroups();
    const std::string group = fullName.substr(0, fullName.find('.'));
    if (core::awaitRemoteGroups(group.empty() ? std::vector<std::string>() : std::vector{group}, patience))
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
