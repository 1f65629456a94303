/// The top-level groups that this process publishes.
///
/// Thread-safe. mutex_ (rank "published groups") guards the list and is not held while the framework works.
#pragma once

#include "settingscore/settings/root/RootStates.hpp"

#include <chrono>
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

    /// False when the group is published already. FailedToPublishException, ServicePublishTimeout.
    bool publish(core::detail::SettingsImplRoot& root, const std::string& name,
                 std::chrono::milliseconds limit);
    void withdraw(const std::string& name);
    std::vector<std::string> names() const;

  private:
    PublishedGroups() = default;

    mutable std::mutex mutex_;
    std::map<std::string, std::unique_ptr<PublishedGroup>> groups_; // guarded by mutex_; null: under way
};

} // namespace settings::spf
