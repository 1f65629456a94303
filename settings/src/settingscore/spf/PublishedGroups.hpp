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

    /// False when the group is published already. Takes `limit` at most, the waiting included.
    /// FailedToPublishException, ServicePublishTimeout.
    bool publish(core::detail::SettingsImplRoot& root, const std::string& name,
                 std::chrono::milliseconds limit);
    void withdraw(const std::string& name);
    std::vector<std::string> names() const;

  private:
    using Clock = std::chrono::steady_clock;
    enum class Stage { publishing, published, withdrawing };
    struct Entry {
        Stage stage = Stage::publishing;
        bool isCancelled = false; // somebody withdraws it who must not wait
        std::unique_ptr<PublishedGroup> group{};
    };
    class Turn;

    PublishedGroups() = default;
    bool publishBy(core::detail::SettingsImplRoot& root, const std::string& name, Clock::time_point end);
    bool begin(const std::string& name, Clock::time_point end);
    bool isUnderWay(const std::string& name) const; // mutex_ is held

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, Entry> groups_; // guarded by mutex_
};

} // namespace settings::spf
