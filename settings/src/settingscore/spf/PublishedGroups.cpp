#include "settingscore/spf/PublishedGroups.hpp"

#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/exception/PublicationFailures.hpp"
#include "settingscore/level/RootIndex.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/file/LevelFileState.hpp"
#include "settingscore/settings/file/prefdirWriter.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"
#include "settingscore/spf/SharingWork.hpp"
#include "settingscore/spf/SpfLog.hpp"
#include "settingscore/spf/SpfSettingsServiceProvider.hpp"
#include "settingscore/spf/TopLevelNodeClientTracker.hpp"
#include "spf/ServiceRuntime.hpp"
#include "varnek/event/EventManager.hpp"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace settings::spf {

using core::detail::NodePtr;
using core::detail::SettingsImplRoot;
using varnek::spf::Publication;
using varnek::spf::SPFConfiguration;

namespace {

/// Of the application's tree as it is at the moment; its own group, where another process's still stands in
/// its place.
NodePtr groupNow(const std::string& name) {
    const auto tree = core::detail::TreesOnDemand::instance().existing(core::DefaultRootIndex());
    return tree == nullptr ? NodePtr() : tree->toolboxes->localGroup(name);
}

/// Built once for a root.
std::shared_ptr<const SPFConfiguration> configurationOf(SettingsImplRoot& root) {
    if (auto configuration = root.serviceConfiguration())
        return configuration;
    root.setServiceConfiguration(std::make_shared<const SPFConfiguration>(
        SPFConfiguration::Builder()
            .addRequiredRuntimeServiceProperties({{"runtime", "settingscore"}})
            .addServicePublisher("rpcservicepublisher", {"localServiceOnly"})
            .build()));
    return root.serviceConfiguration();
}

varnek::spf::ServiceDescription descriptionOf(const std::string& group) {
    varnek::spf::ServiceDescription description;
    description.name = group;
    description.description = serviceDescription;
    description.serviceProperties = {{groupProperty, group}};
    description.serviceInterfaces = {"settings::spf::SpfSettingsServiceProvider"};
    description.spfRuntime = "cpp";
    return description;
}

/// Whether the calling thread may be waited for where a group is published or withdrawn: saves are awaited
/// there.
bool maybeAwaited() {
    const auto* const writer = core::detail::prefdirWriter();
    return SharingWork::isHere() || core::detail::isInsideSave() || (writer != nullptr && writer->isWorker());
}

std::chrono::milliseconds timeUntil(std::chrono::steady_clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    return std::max(left, std::chrono::milliseconds(0));
}

/// Announces changes of a group's values. Other processes find the group before its publication is known
/// here; what changes until then is announced afterwards, once for each setting: what it was before.
class ChangeAnnouncer {
  public:
    explicit ChangeAnnouncer(const SpfSettingsServiceProvider& provider)
        : provider_(provider), changes_(varnek::event::EventManager::instance().subscribe(
                                   u"settings::core::SettingsValueChangeEvent",
                                   [this](const varnek::event::EventHandle& event) { take(*event); })) {}
    ChangeAnnouncer(const ChangeAnnouncer&) = delete;
    ChangeAnnouncer& operator=(const ChangeAnnouncer&) = delete;
    ~ChangeAnnouncer() { end(); }

    /// It is to be there until end().
    void begin(Publication& publication) {
        const std::lock_guard lock(mutex_);
        for (const auto& [path, before] : early_)
            announce(publication, path, before);
        early_.clear();
        publication_ = &publication;
    }
    void end() noexcept { changes_.disconnectAndWait(); }

  private:
    void take(const varnek::event::Event& event) {
        const auto* change = dynamic_cast<const core::SettingsValueChangeEvent*>(&event);
        const auto path = change == nullptr ? std::nullopt : provider_.pathOf(*change->getObj());
        if (!path)
            return;
        const varnek::data::Array before = change->getOldValue();
        const std::lock_guard lock(mutex_);
        if (publication_ == nullptr)
            early_.try_emplace(*path, before);
        else
            announce(*publication_, *path, before);
    }

    /// Does not block.
    static void announce(Publication& publication, const Path& path, const varnek::data::Array& before) {
        try {
            publication.announce(valueChangeTopic, {toValue(path), before});
        } catch (const varnek::spf::RemoteError&) { // too large: the change counts, not what was before
            publication.announce(valueChangeTopic, {toValue(path), varnek::data::Array()});
        }
    }

    const SpfSettingsServiceProvider& provider_;
    std::mutex mutex_; // rank "announced changes"; guards the next two, and keeps announcements in order
    Publication* publication_ = nullptr;
    std::map<Path, varnek::data::Array> early_;
    const varnek::event::Connection changes_; // the last: it uses the others
};

} // namespace

/// One group, while it is published.
class PublishedGroup {
  public:
    PublishedGroup(const std::string& name, const SPFConfiguration& configuration,
                   std::chrono::milliseconds limit)
        : provider_(std::make_shared<SpfSettingsServiceProvider>(name, [name] { return groupNow(name); })),
          changes_(*provider_),
          publication_(varnek::spf::ServiceRuntime::instance().publish(
              core::serviceContext(), configuration, publisherId, descriptionOf(name), provider_, limit)) {
        changes_.begin(*publication_);
    }
    PublishedGroup(const PublishedGroup&) = delete;
    PublishedGroup& operator=(const PublishedGroup&) = delete;
    ~PublishedGroup() { changes_.end(); } // before the publication

  private:
    const std::shared_ptr<SpfSettingsServiceProvider> provider_;
    ChangeAnnouncer changes_;
    const std::unique_ptr<Publication> publication_;
};

PublishedGroups& PublishedGroups::instance() {
    static auto* const groups = new PublishedGroups;
    return *groups;
}

/// The one thread that publishes or withdraws a name. In the end the name is free, unless it is published.
class PublishedGroups::Turn {
  public:
    Turn(PublishedGroups& groups, const std::string& name) : groups_(groups), name_(name) {}
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        {
            const std::lock_guard lock(groups_.mutex_);
            if (!isPublished_)
                groups_.groups_.erase(name_);
        }
        groups_.changed_.notify_all();
    }

    /// std::runtime_error when it was withdrawn meanwhile; then `group` stays with the caller.
    void publish(std::unique_ptr<PublishedGroup>& group) {
        const std::lock_guard lock(groups_.mutex_);
        Entry& entry = groups_.groups_.at(name_);
        if (entry.isCancelled)
            throw std::runtime_error(name_ + " was withdrawn meanwhile");
        entry.group = std::move(group);
        entry.stage = Stage::published;
        isPublished_ = true;
    }

  private:
    PublishedGroups& groups_;
    const std::string& name_;
    bool isPublished_ = false;
};

PublishedGroups::Number PublishedGroups::publish(SettingsImplRoot& root, const std::string& name,
                                                 std::chrono::milliseconds limit) {
    constexpr std::chrono::milliseconds most = std::chrono::hours(24); // so that sums stay in range
    Begun begun;
    try {
        begun = publishBy(root, name, Clock::now() + std::clamp(limit, limit.zero(), most));
    } catch (const std::exception& failure) {
        VARNEK_LOG(spfLog, error) << "Failed to register service " << name;
        if (dynamic_cast<const varnek::spf::PublicationTimeout*>(&failure) != nullptr)
            throw core::exception::ServicePublishTimeout();
        throw core::exception::FailedToPublishException(failure.what());
    }
    if (begun.isNew)
        VARNEK_LOG(spfLog, info) << "Successfully registered SPF service " << name;
    return begun.number;
}

PublishedGroups::Begun PublishedGroups::publishBy(SettingsImplRoot& root, const std::string& name,
                                                  Clock::time_point end) {
    const Begun begun = begin(name, end);
    if (!begun.isNew)
        return begun;
    Turn turn(*this, name);
    const SharingWork work;
    auto& tracker = TopLevelNodeClientTracker::ofProcess(); // it is to know, whether or not there is a tree
    try {
        tracker.publishedHere(name);
        if (root.getChild(name, true) == nullptr)
            throw std::runtime_error("there is no group " + name);
        auto group = std::make_unique<PublishedGroup>(name, *configurationOf(root), timeUntil(end));
        turn.publish(group);
        return begun;
    } catch (...) {
        tracker.withdrawnHere(name);
        throw;
    }
}

PublishedGroups::Begun PublishedGroups::begin(const std::string& name, Clock::time_point end) {
    const bool mayNotWait = maybeAwaited();
    std::unique_lock lock(mutex_);
    if (isUnderWay(name) && mayNotWait)
        throw std::runtime_error(name + " is being published or withdrawn");
    if (!changed_.wait_until(lock, end, [&] { return !isUnderWay(name); }))
        throw varnek::spf::PublicationTimeout(name + " is being published or withdrawn");
    const auto [place, isNew] = groups_.try_emplace(name);
    Entry& entry = place->second;
    if (isNew)
        entry.number = ++last_;
    else
        ++entry.told;
    return {entry.number, isNew};
}

bool PublishedGroups::isUnderWay(const std::string& name) const {
    const auto found = groups_.find(name);
    return found != groups_.end() && found->second.stage != Stage::published;
}

void PublishedGroups::withdraw(const std::string& name) {
    withdrawIf(name, [](const Entry&) { return true; });
}

void PublishedGroups::takeBack(const std::string& name, Number publication) {
    withdrawIf(name, [&](Entry& entry) { return entry.number == publication && --entry.told == 0; });
}

/// What is asked under the lock, of the entry as it is when nobody else is at work on the name.
template <class Condition>
void PublishedGroups::withdrawIf(const std::string& name, const Condition& condition) {
    std::unique_ptr<PublishedGroup> group; // ended without the lock
    const bool mayWait = !maybeAwaited();
    {
        std::unique_lock lock(mutex_);
        if (mayWait)
            changed_.wait(lock, [&] { return !isUnderWay(name); });
        const auto found = groups_.find(name);
        if (found == groups_.end() || !condition(found->second))
            return;
        if (found->second.stage != Stage::published) {
            found->second.isCancelled = true;
            return;
        }
        found->second.stage = Stage::withdrawing;
        group = std::move(found->second.group);
    }
    const Turn turn(*this, name);
    const SharingWork work;
    group.reset();
    TopLevelNodeClientTracker::ofProcess().withdrawnHere(name);
}

std::vector<std::string> PublishedGroups::names() const {
    std::vector<std::string> names;
    const std::lock_guard lock(mutex_);
    for (const auto& [name, entry] : groups_)
        if (entry.stage == Stage::published)
            names.push_back(name);
    return names;
}

} // namespace settings::spf
