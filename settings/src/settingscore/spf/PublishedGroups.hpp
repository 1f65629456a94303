/// The top-level groups that this process publishes.
///
/// One thread at a time publishes or withdraws a name; others that want to do the same wait until it has.
/// Where a thread might wait for itself (SharingWork) it does not: a withdrawal makes the publishing that is
/// under way fail, and publishing fails.
///
/// Thread-safe. mutex_ (rank "published groups") guards the list and is not held while the framework works,
/// nor while a thread waits.
#pragma once

#include "settingscore/settings/root/RootStates.hpp"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace settings::spf {

class PublishedGroup;

class PublishedGroups {
  public:
    static PublishedGroups& instance(); // never destroyed

    /// One publication of a name; whoever is told of it counts.
    using Number = std::uint64_t;

    /// Of the publication that there is, or that is new. Takes `limit` at most, the waiting included.
    /// FailedToPublishException, ServicePublishTimeout.
    Number publish(core::detail::SettingsImplRoot& root, const std::string& name,
                   std::chrono::milliseconds limit);
    void withdraw(const std::string& name);
    /// As if publish() had not returned it: withdraws the group unless somebody else was told of this
    /// publication.
    void takeBack(const std::string& name, Number publication);
    std::vector<std::string> names() const;

  private:
    using Clock = std::chrono::steady_clock;
    enum class Stage { publishing, published, withdrawing };
    struct Entry {
        Stage stage = Stage::publishing;
        bool isCancelled = false; // somebody withdraws it who must not wait
        Number number = 0;
        std::size_t told = 1; // those who asked for it and rely on it
        std::unique_ptr<PublishedGroup> group{};
    };
    class Turn;

    PublishedGroups() = default;
    struct Begun {
        Number number = 0;
        bool isNew = false;
    };
    Begun publishBy(core::detail::SettingsImplRoot& root, const std::string& name, Clock::time_point end);
    Begun begin(const std::string& name, Clock::time_point end);
    template <class Condition>
    void withdrawIf(const std::string& name, const Condition& condition);
    bool isUnderWay(const std::string& name) const; // mutex_ is held

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, Entry> groups_; // guarded by mutex_, as the next
    Number last_ = 0;
};

} // namespace settings::spf
