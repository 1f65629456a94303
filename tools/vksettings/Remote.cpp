#include "Remote.hpp"

#include "Printable.hpp"

#include "settingscore/exception/RemoteCallFailed.hpp"
#include "settingscore/spf/RemoteGroups.hpp"

#include <chrono>
#include <iostream>
#include <map>
#include <stdexcept>
#include <utility>

namespace vksettings {

namespace core = settings::core;

namespace {

/// Processes answer at once unless the machine is busy.
constexpr std::chrono::milliseconds usual{200};
constexpr std::chrono::seconds patience{2};

std::vector<Handle> attachedNow() {
    std::vector<Handle> groups;
    for (const Handle& group : rootForRemoteGroups()->getChildren())
        if (core::isRemote(*group))
            groups.push_back(group);
    return groups;
}

/// Empty when it is not there, or not any more.
Handle attachedNow(const std::string& name) {
    for (const Handle& group : attachedNow())
        if (group->getName() == name)
            return group;
    return {};
}

/// As soon as it is there; empty when all processes that are there have told what they publish.
Handle whenItComes(const std::string& group) {
    core::awaitRemoteGroups({group}, usual);
    if (Handle found = attachedNow(group))
        return found;
    core::awaitRemoteGroups({}, patience);
    return attachedNow(group);
}

std::string pidOf(const std::string& process) {
    return process.substr(0, process.find_first_not_of("0123456789"));
}

/// Which of them a later command uses is not certain.
void warnOfSeveral(const std::string& wanted) {
    core::awaitRemoteGroups({}, usual);
    std::map<std::string, std::pair<std::size_t, std::string>> groups;
    for (const core::RemotePublisher& publisher : core::getRemotePublishers()) {
        auto& [count, used] = groups[publisher.group];
        ++count;
        if (publisher.isAttached)
            used = pidOf(publisher.process);
    }
    for (const auto& [group, found] : groups)
        if (found.first > 1 && (wanted.empty() || group == wanted))
            std::cerr << "vksettings: warning: " << found.first << " processes publish the group \""
                      << printable(group) << "\"; that of process " << found.second << " is used\n";
}

/// Why a group may be missing.
void checkAllAnswered() {
    for (const auto& [process, fault, cause] : core::getUnusablePublishers())
        if (fault == core::exception::RemoteCallFailed::Fault::refused)
            throw UnusableProcesses("process " + pidOf(process) + " cannot be asked: " + cause);
        else if (fault == core::exception::RemoteCallFailed::Fault::timedOut)
            throw UnusableProcesses("process " + pidOf(process) + " does not answer");
}

} // namespace

Handle attachRemote(const std::string& fullName) {
    rootForRemoteGroups();
    core::attachRemoteGroups();
    const std::string name = fullName.substr(0, fullName.find('.'));
    Handle group = whenItComes(name);
    if (group == nullptr) {
        checkAllAnswered();
        throw std::invalid_argument("no process publishes the group \"" + name + "\"");
    }
    warnOfSeveral(name);
    return group;
}

std::vector<Handle> attachAllRemote() {
    rootForRemoteGroups();
    core::attachRemoteGroups();
    core::awaitRemoteGroups({}, patience);
    std::vector<Handle> groups = attachedNow();
    if (groups.empty()) {
        checkAllAnswered();
        throw std::invalid_argument("no process publishes groups; \"vksettings serve\" does");
    }
    warnOfSeveral({});
    return groups;
}

void requireOwn(const core::Settings& node) {
    if (core::isRemote(node))
        throw std::invalid_argument("\"" + node.getFullName() +
                                    "\" belongs to another process: list, get and unset work there, "
                                    "with --remote");
}

} // namespace vksettings
