/// Follows the top-level groups that other processes publish, and puts remote nodes for them below the root
/// of the application's tree.
///
/// Of several publishers of one name the first is attached; the others wait, and the next takes over when it
/// ends. Groups that this process publishes itself come before all of them.
///
/// Thread-safe. The framework calls it when services come and go. mutex_ (rank "remote groups") is held while
/// groups are put below the root and taken away, never during remote calls, while listeners or log sinks run
/// or while the disk works.
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/ServiceTracker.h"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/spf/RemoteGroup.hpp"
#include "spf/ServiceRuntime.hpp"

#include <boost/weak_ptr.hpp>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace settings::spf {

/// Publisher and tracker find each other by this value of "spf.servicename".
inline constexpr char publisherId[] = "QUILLFERN_SETTINGS_PUBLISHER_ID";
/// The service property, below "spf.serviceproperty.", that names the group.
inline constexpr char groupProperty[] = "toplevelnode";

class TopLevelNodeClientTracker
    : private cppmicroservices::ServiceTrackerCustomizer<varnek::spf::RemoteService> {
  public:
    /// That of the process, made with the first tree or the first group that is published; never destroyed.
    static TopLevelNodeClientTracker& ofProcess();
    /// Null before that.
    static TopLevelNodeClientTracker* instance() noexcept;

    /// The application's tree can be found, or another one stands in its place: the groups of others belong
    /// there. What goes wrong is logged.
    static void follow() noexcept;
    /// Puts the groups of this process back into the tree, so that another one can take its place; while the
    /// result lives, none is attached. Its end is a follow(). Both block on the disk.
    static std::shared_ptr<void> letGo();

    struct Publisher {
        std::string group;
        std::string process;
        bool isAttached = false;
    };
    /// In order of groups; of one group in the order in which they take over.
    std::vector<Publisher> publishers() const;
    /// Waits until the condition holds for the publishers there are, or the time is over; then false.
    bool waitFor(const std::function<bool(const std::vector<Publisher>&)>& condition,
                 std::chrono::milliseconds limit) const;

    /// This process publishes a group of that name from now on, and has it below the root when this returns;
    /// or it has ended to: then the group of another process may take its place. Both block on the disk.
    void publishedHere(const std::string& group);
    void withdrawnHere(const std::string& group);

  private:
    using Tree = boost::shared_ptr<core::detail::SettingsRootStateMgr>;
    using RemoteService = varnek::spf::RemoteService;
    using Reference = cppmicroservices::ServiceReference<RemoteService>;

    /// One publisher of a group.
    struct Offer {
        std::shared_ptr<RemoteService> service;
        std::shared_ptr<varnek::spf::Invokable> invokable;
        std::string process;
        std::shared_ptr<RemoteGroup> attached{}; // null: it waits
        RemoteGroup::RemoteNode node{};          // with `attached`
    };
    using Offers = std::list<Offer>;
    class Change;

    explicit TopLevelNodeClientTracker(cppmicroservices::BundleContext context);

    std::shared_ptr<RemoteService> AddingService(const Reference& reference) override;
    void ModifiedService(const Reference&, const std::shared_ptr<RemoteService>&) override {}
    void RemovedService(const Reference& reference, const std::shared_ptr<RemoteService>& service) override;

    std::shared_ptr<RemoteService> take(const Reference& reference);
    void drop(const std::shared_ptr<RemoteService>& service);
    bool moveToTree(); // false: there is none
    void beginPause();
    std::vector<std::string> offeredGroups() const;
    std::vector<Publisher> publishersNow() const; // mutex_ is held

    // mutex_ is held.
    void attachFirst(const std::string& group, Change& change) noexcept;
    void attach(const std::string& group, Offer& offer, Change& change);
    void detach(Offer& offer, Change& change);

    cppmicroservices::BundleContext context_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    boost::weak_ptr<core::detail::SettingsRootStateMgr> tree_; // guarded by mutex_, as all below
    std::map<std::string, Offers> offers_;
    std::set<std::string> publishedHere_;
    int pauses_ = 0;
    cppmicroservices::ServiceTracker<RemoteService> tracker_;
};

} // namespace settings::spf
