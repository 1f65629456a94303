#include "settingscore/spf/TopLevelNodeClientTracker.hpp"

#include "cppmicroservices/LDAPFilter.h"
#include "settingscore/exception/PublicationFailures.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/spf/SettingsRemoteImpl.hpp"
#include "settingscore/spf/SpfLog.hpp"

#include <algorithm>
#include <atomic>
#include <exception>

namespace settings::spf {

namespace {

namespace property = varnek::spf::property;
using core::detail::LateEvents;

std::atomic<TopLevelNodeClientTracker*> theTracker{nullptr};

std::string textProperty(const cppmicroservices::ServiceReferenceBase& reference, const std::string& key) {
    const cppmicroservices::Any value = reference.GetProperty(key);
    const auto* text = cppmicroservices::any_cast<std::string>(&value);
    return text == nullptr ? std::string() : *text;
}

} // namespace

/// What is to be done without the lock once the groups are in their places.
class TopLevelNodeClientTracker::Change {
  public:
    explicit Change(TopLevelNodeClientTracker& tracker) : tracker_(tracker) {}
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;
    ~Change() {
        for (const auto& group : gone)
            group->stopListening();
        events.tell();
        for (const core::detail::NodePtr& group : back)
            if (tree != nullptr)
                tree->toolboxes->isBack(group);
        tracker_.changed_.notify_all();
    }

    Tree tree; // may be null
    LateEvents events;
    std::vector<std::shared_ptr<RemoteGroup>> gone;
    std::vector<core::detail::NodePtr> back; // groups of this process

  private:
    TopLevelNodeClientTracker& tracker_;
};

// ---- the tracker of the process ----

TopLevelNodeClientTracker* TopLevelNodeClientTracker::instance() noexcept {
    return theTracker.load(std::memory_order_acquire);
}

void TopLevelNodeClientTracker::follow(const Tree& tree) {
    try {
        static auto& tracker = *[&] {
            VARNEK_LOG(spfLog, info) << "Create the remote top-level nodes tracker";
            auto made = std::unique_ptr<TopLevelNodeClientTracker>(
                new TopLevelNodeClientTracker(core::serviceContext()));
            made->tree_ = tree;
            theTracker.store(made.get(), std::memory_order_release);
            return made.release(); // services may come and go until the process ends
        }();
        tracker.moveTo(tree);
        tracker.tracker_.Open();              // only the first time
    } catch (const std::exception& failure) { // the tree is there all the same
        VARNEK_LOG(spfLog, error) << "Exception caught: " << failure.what();
    }
}

TopLevelNodeClientTracker::TopLevelNodeClientTracker(cppmicroservices::BundleContext context)
    : context_(std::move(context)),
      tracker_(
          context_,
          cppmicroservices::LDAPFilter(std::string("(") + property::serviceName + "=" + publisherId + ")"),
          this) {}

/// The tree before stays as it is; nobody tells it of changes any more.
void TopLevelNodeClientTracker::moveTo(const Tree& tree) {
    Change change(*this);
    const std::lock_guard lock(mutex_);
    if (tree_.lock() == tree)
        return;
    for (auto& [group, offers] : offers_)
        for (Offer& offer : offers)
            if (offer.attached != nullptr) {
                change.gone.push_back(std::move(offer.attached));
                offer.node = nullptr;
            }
    tree_ = tree;
    change.tree = tree;
    for (const auto& [group, offers] : offers_)
        attachFirst(group, change);
}

// ---- services that come and go ----

std::shared_ptr<TopLevelNodeClientTracker::RemoteService>
TopLevelNodeClientTracker::AddingService(const Reference& reference) {
    if (textProperty(reference, property::process) == varnek::spf::ServiceRuntime::instance().processName())
        return nullptr; // what this process publishes
    VARNEK_LOG(spfLog, info) << "TopLevelNodeClientTracker::AddingService";
    try {
        return take(reference);
    } catch (const std::exception& failure) { // the framework knows nothing of our failures
        VARNEK_LOG(spfLog, error) << "Exception caught: " << failure.what();
        return nullptr;
    }
}

std::shared_ptr<TopLevelNodeClientTracker::RemoteService>
TopLevelNodeClientTracker::take(const Reference& reference) {
    const std::string key = std::string(property::serviceProperty) + groupProperty;
    const std::string group = textProperty(reference, key);
    if (group.empty())
        throw core::exception::MissingPropertyException(key);
    VARNEK_LOG(spfLog, info) << "Received remote notification for " << group;
    auto service = context_.GetService(reference);
    auto invokable = service == nullptr ? nullptr : service->invokable();
    if (invokable == nullptr)
        throw core::exception::NoInvokableForServiceReference(group);
    Tree tree;
    {
        const std::lock_guard lock(mutex_);
        tree = Tree(tree_); // boost::bad_weak_ptr when the root is gone
    }
    tree->toolboxes->awaitSaves(group); // of the group that may be replaced
    Change change(*this);
    const std::lock_guard lock(mutex_);
    change.tree = tree_.lock();
    Offers& offers = offers_[group];
    offers.push_back({service, std::move(invokable), textProperty(reference, property::process)});
    if (offers.size() > 1 || publishedHere_.contains(group))
        VARNEK_LOG(spfLog, warning) << group << " is published already; the group of process "
                                    << offers.back().process << " waits";
    attachFirst(group, change);
    return service;
}

void TopLevelNodeClientTracker::RemovedService(const Reference&,
                                               const std::shared_ptr<RemoteService>& service) {
    try {
        drop(service);
    } catch (const std::exception& failure) {
        VARNEK_LOG(spfLog, error) << "Exception caught: " << failure.what();
    }
}

void TopLevelNodeClientTracker::drop(const std::shared_ptr<RemoteService>& service) {
    Change change(*this);
    const std::lock_guard lock(mutex_);
    change.tree = tree_.lock();
    for (auto& [group, offers] : offers_) {
        const auto offer = std::find_if(offers.begin(), offers.end(),
                                        [&](const Offer& each) { return each.service == service; });
        if (offer == offers.end())
            continue;
        VARNEK_LOG(spfLog, info) << "The group " << group << " of process " << offer->process << " is gone";
        if (offer->attached != nullptr)
            detach(*offer, change);
        offers.erase(offer);
        attachFirst(group, change);
        return;
    }
}

// ---- attaching ----

void TopLevelNodeClientTracker::attachFirst(const std::string& group, Change& change) {
    Offers& offers = offers_[group];
    if (change.tree == nullptr || offers.empty() || publishedHere_.contains(group) ||
        std::any_of(offers.begin(), offers.end(), [](const Offer& o) { return o.attached != nullptr; }))
        return;
    Offer& offer = offers.front();
    VARNEK_LOG(spfLog, info) << "Create RemoteImpl for " << group;
    const auto remote = RemoteGroup::make(group, offer.invokable, change.tree->root);
    const auto node = remote->makeTopLevelNode();
    try {
        remote->listen(); // nothing is to be missed
        change.tree->toolboxes->attachRemote(node, change.events);
    } catch (const std::exception& failure) { // the name differs from another one by case only
        VARNEK_LOG(spfLog, error) << "Exception caught: " << failure.what();
        change.gone.push_back(remote);
        return;
    }
    offer.attached = remote;
    offer.node = node;
}

void TopLevelNodeClientTracker::detach(Offer& offer, Change& change) {
    change.gone.push_back(std::move(offer.attached));
    const auto node = std::move(offer.node);
    if (change.tree == nullptr)
        return;
    if (auto local = change.tree->toolboxes->detachRemote(node, change.events))
        change.back.push_back(std::move(local));
}

// ---- who publishes what ----

void TopLevelNodeClientTracker::publishedHere(const std::string& group) {
    Change change(*this);
    const std::lock_guard lock(mutex_);
    change.tree = tree_.lock();
    publishedHere_.insert(group);
    const auto offers = offers_.find(group);
    if (offers == offers_.end())
        return;
    for (Offer& offer : offers->second)
        if (offer.attached != nullptr)
            detach(offer, change);
}

void TopLevelNodeClientTracker::withdrawnHere(const std::string& group) {
    Tree tree;
    {
        const std::lock_guard lock(mutex_);
        tree = tree_.lock();
    }
    if (tree != nullptr)
        tree->toolboxes->awaitSaves(group);
    Change change(*this);
    const std::lock_guard lock(mutex_);
    change.tree = tree_.lock();
    publishedHere_.erase(group);
    attachFirst(group, change);
}

std::vector<TopLevelNodeClientTracker::Publisher> TopLevelNodeClientTracker::publishersNow() const {
    std::vector<Publisher> all;
    for (const auto& [group, offers] : offers_)
        for (const Offer& offer : offers)
            all.push_back({group, offer.process, offer.attached != nullptr});
    return all;
}

std::vector<TopLevelNodeClientTracker::Publisher> TopLevelNodeClientTracker::publishers() const {
    const std::lock_guard lock(mutex_);
    return publishersNow();
}

bool TopLevelNodeClientTracker::waitFor(const std::function<bool(const std::vector<Publisher>&)>& condition,
                                        std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return condition(publishersNow()); });
}

} // namespace settings::spf
