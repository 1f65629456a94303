#include "settingscore/spf/TopLevelNodeClientTracker.hpp"

#include "cppmicroservices/LDAPFilter.h"
#include "settingscore/exception/PublicationFailures.hpp"
#include "settingscore/level/RootIndex.hpp"
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
using varnek::log::Severity;

std::atomic<TopLevelNodeClientTracker*> theTracker{nullptr};

std::string textProperty(const cppmicroservices::ServiceReferenceBase& reference, const std::string& key) {
    const cppmicroservices::Any value = reference.GetProperty(key);
    const auto* text = cppmicroservices::any_cast<std::string>(&value);
    return text == nullptr ? std::string() : *text;
}

/// Where that fails, the groups come and go all the same.
void awaitSaves(const core::detail::SettingsRootStateMgr& tree, const std::string& group) {
    try {
        tree.toolboxes->awaitSaves(group);
    } catch (const std::exception& failure) {
        VARNEK_LOG(spfLog, error) << "Exception caught: " << failure.what();
    }
}

} // namespace

/// What is to be done without the lock once the groups are in their places.
class TopLevelNodeClientTracker::Change {
  public:
    explicit Change(TopLevelNodeClientTracker& tracker) : tracker_(tracker) {}
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;
    ~Change() {
        for (const auto& [severity, line] : lines_)
            spfLog.write(severity, line);
        for (const auto& group : gone)
            group->stopListening();
        events.tell();
        for (const core::detail::NodePtr& group : back)
            if (tree != nullptr)
                tree->toolboxes->isBack(group);
        tracker_.changed_.notify_all();
    }

    /// A line of the log.
    void note(Severity severity, const std::string& line) noexcept {
        try {
            lines_.emplace_back(severity, line);
        } catch (const std::exception&) { // there is no memory for it
        }
    }

    Tree tree;   // may be null
    Tree before; // let go
    LateEvents events;
    std::vector<std::shared_ptr<RemoteGroup>> gone;
    std::vector<core::detail::NodePtr> back; // groups of this process

  private:
    TopLevelNodeClientTracker& tracker_;
    std::vector<std::pair<Severity, std::string>> lines_;
};

// ---- the tracker of the process ----

TopLevelNodeClientTracker* TopLevelNodeClientTracker::instance() noexcept {
    return theTracker.load(std::memory_order_acquire);
}

TopLevelNodeClientTracker& TopLevelNodeClientTracker::ofProcess() {
    const auto context = core::serviceContext();
    bool isNew = false;
    static auto& tracker = *[&] {
        auto* const made = new TopLevelNodeClientTracker(context); // services come and go until the end
        theTracker.store(made, std::memory_order_release);
        isNew = true;
        return made;
    }();
    if (isNew) // sinks may publish
        VARNEK_LOG(spfLog, info) << "Create the remote top-level nodes tracker";
    return tracker;
}

void TopLevelNodeClientTracker::follow() noexcept {
    try {
        TopLevelNodeClientTracker& tracker = ofProcess();
        if (tracker.moveToTree())
            tracker.tracker_.Open();          // only the first time
    } catch (const std::exception& failure) { // the tree is there all the same
        VARNEK_LOG(spfLog, error) << "Exception caught: " << failure.what();
    }
}

std::shared_ptr<void> TopLevelNodeClientTracker::letGo() {
    TopLevelNodeClientTracker& tracker = ofProcess();
    tracker.beginPause();
    return {&tracker, [](TopLevelNodeClientTracker* paused) {
                {
                    const std::lock_guard lock(paused->mutex_);
                    --paused->pauses_;
                }
                follow();
            }};
}

void TopLevelNodeClientTracker::beginPause() {
    Change change(*this);
    const std::lock_guard lock(mutex_);
    change.tree = tree_.lock();
    for (auto& [group, offers] : offers_)
        for (Offer& offer : offers)
            if (offer.attached != nullptr)
                detach(offer, change);
    ++pauses_;
}

TopLevelNodeClientTracker::TopLevelNodeClientTracker(cppmicroservices::BundleContext context)
    : context_(std::move(context)),
      tracker_(
          context_,
          cppmicroservices::LDAPFilter(std::string("(") + property::serviceName + "=" + publisherId + ")"),
          this) {}

/// The tree is looked for under the lock: of several threads that replace it the last one finds the last.
/// The tree before stays as it is; nobody tells it of changes any more.
bool TopLevelNodeClientTracker::moveToTree() {
    const auto treeNow = [] {
        return core::detail::RootStates::instance().find(core::DefaultRootIndex().index());
    };
    if (const Tree tree = treeNow())
        for (const std::string& group : offeredGroups())
            awaitSaves(*tree, group); // of those that are replaced
    Change change(*this);
    const std::lock_guard lock(mutex_);
    change.tree = treeNow();
    change.before = tree_.lock();
    if (change.tree == nullptr)
        return false;
    if (change.before != change.tree)
        for (auto& [group, offers] : offers_)
            for (Offer& offer : offers)
                if (offer.attached != nullptr) {
                    change.gone.push_back(std::move(offer.attached));
                    offer.node = nullptr;
                }
    tree_ = change.tree;
    for (const auto& [group, offers] : offers_)
        attachFirst(group, change);
    return true;
}

std::vector<std::string> TopLevelNodeClientTracker::offeredGroups() const {
    std::vector<std::string> groups;
    const std::lock_guard lock(mutex_);
    for (const auto& [group, offers] : offers_)
        groups.push_back(group);
    return groups;
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
    try {
        Tree tree;
        {
            const std::lock_guard lock(mutex_);
            tree = Tree(tree_);
        }
        awaitSaves(*tree, group);               // of the group that may be replaced
    } catch (const boost::bad_weak_ptr& gone) { // the root is gone; the next one gets the group
        VARNEK_LOG(spfLog, error) << "Exception caught: " << gone.what();
    }
    Change change(*this);
    const std::lock_guard lock(mutex_);
    change.tree = tree_.lock();
    Offers& offers = offers_[group];
    offers.push_back({service, std::move(invokable), textProperty(reference, property::process)});
    if (offers.size() > 1 || publishedHere_.contains(group))
        change.note(Severity::warning, group + " is published already; the group of process " +
                                           offers.back().process + " waits");
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
    for (auto place = offers_.begin(); place != offers_.end(); ++place) {
        auto& [group, offers] = *place;
        const auto offer = std::find_if(offers.begin(), offers.end(),
                                        [&](const Offer& each) { return each.service == service; });
        if (offer == offers.end())
            continue;
        change.note(Severity::info, "The group " + group + " of process " + offer->process + " is gone");
        if (offer->attached != nullptr)
            detach(*offer, change);
        offers.erase(offer);
        attachFirst(group, change);
        if (offers.empty())
            offers_.erase(place);
        return;
    }
}

// ---- attaching ----

void TopLevelNodeClientTracker::attachFirst(const std::string& group, Change& change) noexcept {
    const auto found = offers_.find(group);
    if (found == offers_.end() || found->second.empty() || change.tree == nullptr || pauses_ > 0 ||
        publishedHere_.contains(group) ||
        std::any_of(found->second.begin(), found->second.end(),
                    [](const Offer& offer) { return offer.attached != nullptr; }))
        return;
    try {
        attach(group, found->second.front(), change);
    } catch (const std::exception& failure) { // the name differs from another one by case only
        change.note(Severity::error, std::string("Exception caught: ") + failure.what());
    }
}

void TopLevelNodeClientTracker::attach(const std::string& group, Offer& offer, Change& change) {
    change.note(Severity::info, "Create RemoteImpl for " + group);
    const auto remote = RemoteGroup::make(group, offer.invokable, change.tree->root);
    const auto node = remote->makeTopLevelNode();
    change.gone.push_back(remote); // until it is attached
    remote->listen();              // nothing is to be missed
    if (change.tree->toolboxes->attachRemote(node, change.events) != nullptr)
        change.note(Severity::info, "Remove real node " + group);
    offer.attached = remote;
    offer.node = node;
    change.gone.pop_back();
    change.note(Severity::info, "Attach RemoteNodeImpl " + group);
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
        awaitSaves(*tree, group);
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
