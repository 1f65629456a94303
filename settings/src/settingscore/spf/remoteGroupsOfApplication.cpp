// The public functions: groups of the application's tree, shared with other processes.

#include "settingscore/Settings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"
#include "settingscore/spf/PublishedGroups.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "settingscore/spf/SettingsRemoteImpl.hpp"
#include "settingscore/spf/TopLevelNodeClientTracker.hpp"
#include "spf/ServiceRuntime.hpp"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <system_error>

namespace settings::core {

using spf::PublishedGroups;
using spf::TopLevelNodeClientTracker;

void publishTopLevelGroups(const std::vector<std::string>& names, std::chrono::milliseconds limit) {
    const auto tree = detail::TreesOnDemand::instance().find(DefaultRootIndex());
    for (const std::string& name : names) {
        const detail::NodePtr group = tree->toolboxes->localGroup(name);
        const bool isReplaced = group != nullptr && group->getParent() == nullptr;
        if (group == nullptr || (!isReplaced && tree->root->getChild(name, true) == nullptr))
            throw exception::NoSuchNode(tree->root->getThisObject(), name);
    }
    auto& groups = PublishedGroups::instance();
    std::vector<PublishedGroups::Number> published;
    published.reserve(names.size());
    try {
        for (const std::string& name : names)
            published.push_back(groups.publish(*tree->root, name, limit));
    } catch (...) {
        for (std::size_t i = 0; i < published.size(); ++i)
            groups.takeBack(names[i], published[i]);
        throw;
    }
}

void withdrawTopLevelGroups(const std::vector<std::string>& names) {
    for (const std::string& name : names)
        PublishedGroups::instance().withdraw(name);
}

std::vector<std::string> getPublishedTopLevelGroups() {
    return PublishedGroups::instance().names();
}

namespace {

std::atomic<bool> isLookingForOthers{false};

} // namespace

void attachRemoteGroups() {
    varnek::spf::ServiceRuntime::instance().discover(serviceContext());
    isLookingForOthers = true;
}

std::vector<RemotePublisher> getRemotePublishers() {
    std::vector<RemotePublisher> publishers;
    if (const TopLevelNodeClientTracker* tracker = TopLevelNodeClientTracker::instance())
        for (auto& [group, process, isAttached] : tracker->publishers())
            publishers.push_back({group, process, isAttached});
    return publishers;
}

namespace {

using Publishers = std::vector<TopLevelNodeClientTracker::Publisher>;

/// Those that can be found at the moment and have not told what they publish, this one left out.
std::vector<std::string> silentProcesses() {
    if (!isLookingForOthers)
        return {}; // nobody was asked
    const auto& runtime = varnek::spf::ServiceRuntime::instance();
    std::vector<std::string> answered = runtime.answeringProcesses();
    answered.push_back(runtime.processName());
    std::vector<std::string> processes;
    std::error_code ignored;
    for (const auto& entry :
         std::filesystem::directory_iterator(varnek::spf::ServiceRuntime::endpointFolder(), ignored))
        if (entry.is_socket(ignored) &&
            std::find(answered.begin(), answered.end(), entry.path().stem()) == answered.end())
            processes.push_back(entry.path().stem().string());
    return processes;
}

bool isAttached(const std::string& group, const Publishers& publishers) {
    return std::any_of(publishers.begin(), publishers.end(), [&](const auto& each) {
        return each.isAttached && (group.empty() || each.group == group);
    });
}

/// Everything that the processes publish which are there now. Processes that publish none of ours are not
/// heard of, but for that they answer: so it is looked for from time to time.
bool awaitAll(const TopLevelNodeClientTracker& tracker, std::chrono::milliseconds limit) {
    using std::chrono::milliseconds;
    constexpr milliseconds quiet{50}; // the groups of one process come one after the other
    constexpr milliseconds pause{5};
    const auto end = std::chrono::steady_clock::now() + limit;
    const auto left = [&] { return std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now()); };
    while (left() > pause.zero() && !silentProcesses().empty())
        tracker.waitFor([](const Publishers&) { return false; }, std::min(pause, left()));
    std::size_t known = 0;
    do
        known = tracker.publishers().size();
    while (known > 0 && left() > quiet.zero() &&
           tracker.waitFor([&](const Publishers& publishers) { return publishers.size() != known; },
                           std::min(quiet, left())));
    return isAttached({}, tracker.publishers());
}

} // namespace

std::vector<UnusablePublisher> getUnusablePublishers() {
    using exception::RemoteCallFailed;
    std::vector<UnusablePublisher> unusable;
    std::vector<std::string> known;
    for (const auto& [process, failure] : varnek::spf::ServiceRuntime::instance().unusableProcesses()) {
        unusable.push_back({process, static_cast<RemoteCallFailed::Fault>(failure.kind()), failure.what()});
        known.push_back(process);
    }
    for (const std::string& process : silentProcesses())
        if (std::find(known.begin(), known.end(), process) == known.end())
            unusable.push_back({process, RemoteCallFailed::Fault::timedOut, "it has not answered yet"});
    return unusable;
}

bool awaitRemoteGroups(const std::vector<std::string>& names, std::chrono::milliseconds limit) {
    constexpr std::chrono::milliseconds most = std::chrono::hours(24 * 365); // so that sums stay in range
    limit = std::clamp(limit, limit.zero(), most);
    detail::TreesOnDemand::instance().find(DefaultRootIndex()); // they stand in it
    const TopLevelNodeClientTracker& tracker = TopLevelNodeClientTracker::ofProcess();
    if (names.empty())
        return awaitAll(tracker, limit);
    return tracker.waitFor(
        [&](const Publishers& publishers) {
            return std::all_of(names.begin(), names.end(),
                               [&](const std::string& name) { return isAttached(name, publishers); });
        },
        limit);
}

bool isRemote(const Settings& node) {
    return dynamic_cast<const spf::SettingsRemoteImpl*>(
               detail::SettingsAccess::mutableNode(node)->unwrap().get()) != nullptr;
}

} // namespace settings::core
