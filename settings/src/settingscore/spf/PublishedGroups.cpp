#include "settingscore/spf/PublishedGroups.hpp"

#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/exception/PublicationFailures.hpp"
#include "settingscore/level/RootIndex.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/spf/SpfLog.hpp"
#include "settingscore/spf/SpfSettingsServiceProvider.hpp"
#include "settingscore/spf/TopLevelNodeClientTracker.hpp"
#include "spf/ServiceRuntime.hpp"
#include "varnek/event/EventManager.hpp"

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
    const auto tree = core::detail::RootStates::instance().find(core::DefaultRootIndex().index());
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

} // namespace

/// One group, while it is published.
class PublishedGroup {
  public:
    PublishedGroup(const std::string& name, const SPFConfiguration& configuration,
                   std::chrono::milliseconds limit)
        : provider_(std::make_shared<SpfSettingsServiceProvider>(name, [name] { return groupNow(name); })),
          publication_(varnek::spf::ServiceRuntime::instance().publish(
              core::serviceContext(), configuration, publisherId, descriptionOf(name), provider_, limit)),
          changes_(varnek::event::EventManager::instance().subscribe(
              u"settings::core::SettingsValueChangeEvent",
              [this](const varnek::event::EventHandle& event) { announce(*event); })) {}
    PublishedGroup(const PublishedGroup&) = delete;
    PublishedGroup& operator=(const PublishedGroup&) = delete;
    ~PublishedGroup() { changes_.disconnectAndWait(); }

  private:
    void announce(const varnek::event::Event& event) const {
        const auto* change = dynamic_cast<const core::SettingsValueChangeEvent*>(&event);
        const auto path = change == nullptr ? std::nullopt : provider_->pathOf(*change->getObj());
        if (!path)
            return;
        try {
            publication_->announce(valueChangeTopic, {toValue(*path), change->getOldValue()});
        } catch (const varnek::spf::RemoteError&) { // too large: the change counts, not what was before
            publication_->announce(valueChangeTopic, {toValue(*path), varnek::data::Array()});
        }
    }

    const std::shared_ptr<SpfSettingsServiceProvider> provider_;
    const std::unique_ptr<Publication> publication_;
    const varnek::event::Connection changes_;
};

PublishedGroups& PublishedGroups::instance() {
    static auto* const groups = new PublishedGroups;
    return *groups;
}

bool PublishedGroups::publish(SettingsImplRoot& root, const std::string& name,
                              std::chrono::milliseconds limit) {
    {
        const std::lock_guard lock(mutex_);
        if (!groups_.try_emplace(name).second)
            return false;
    }
    TopLevelNodeClientTracker* const tracker = TopLevelNodeClientTracker::instance();
    try {
        if (tracker != nullptr)
            tracker->publishedHere(name);
        if (root.getChild(name, true) == nullptr)
            throw std::runtime_error("there is no group " + name);
        auto group = std::make_unique<PublishedGroup>(name, *configurationOf(root), limit);
        VARNEK_LOG(spfLog, info) << "Successfully registered SPF service " << name;
        const std::lock_guard lock(mutex_);
        groups_[name] = std::move(group);
        return true;
    } catch (const std::exception& failure) {
        VARNEK_LOG(spfLog, error) << "Failed to register service " << name;
        withdraw(name);
        if (dynamic_cast<const varnek::spf::PublicationTimeout*>(&failure) != nullptr)
            throw core::exception::ServicePublishTimeout();
        throw core::exception::FailedToPublishException(failure.what());
    }
}

void PublishedGroups::withdraw(const std::string& name) {
    std::unique_ptr<PublishedGroup> group; // ended without the lock
    {
        const std::lock_guard lock(mutex_);
        const auto found = groups_.find(name);
        if (found == groups_.end())
            return;
        group = std::move(found->second);
        groups_.erase(found);
    }
    group.reset();
    if (TopLevelNodeClientTracker* const tracker = TopLevelNodeClientTracker::instance())
        tracker->withdrawnHere(name);
}

std::vector<std::string> PublishedGroups::names() const {
    std::vector<std::string> names;
    const std::lock_guard lock(mutex_);
    for (const auto& [name, group] : groups_)
        if (group != nullptr)
            names.push_back(name);
    return names;
}

} // namespace settings::spf
