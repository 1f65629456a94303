/// What went wrong when files and definitions of one tree were loaded.
#pragma once

#include "settingscore/SettingsRoot.hpp"

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace settings::core::detail {

/// Thread-safe.
class LoadProblems {
  public:
    /// What is known of a group, in place of what was known of it before; "" stands for the tree as a whole.
    void set(const std::string& group, std::vector<LoadProblem> problems);
    /// One more.
    void add(const std::string& group, LoadProblem problem);
    /// In the order of groups.
    std::vector<LoadProblem> all() const;

  private:
    mutable std::mutex mutex_; // rank "load problems"
    std::map<std::string, std::vector<LoadProblem>> ofGroups_;
};

} // namespace settings::core::detail
