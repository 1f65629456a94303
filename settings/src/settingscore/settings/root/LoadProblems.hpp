/// What went wrong when files and definitions of one tree were loaded.
#pragma once

#include "settingscore/SettingsRoot.hpp"
#include "settingscore/level/LevelIndex.hpp"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace settings::core::detail {

/// Thread-safe.
class LoadProblems {
  public:
    /// What is known of a group's definitions, in place of what was known of them before; "" stands for the
    /// tree as a whole.
    void set(const std::string& group, std::vector<LoadProblem> problems);
    /// One more, unless it is known.
    void add(const std::string& group, LoadProblem problem);
    /// What is known of the group's file of a level, in place of what was known of it before.
    void setFile(const std::string& group, LevelIndex level, std::optional<LoadProblem> problem);
    /// In the order of groups.
    std::vector<LoadProblem> all() const;

  private:
    mutable std::mutex mutex_; // rank "load problems"
    struct OfGroup {
        std::vector<LoadProblem> definitions{};
        std::map<LevelIndex, LoadProblem> files{};
    };
    std::map<std::string, OfGroup> ofGroups_;
};

} // namespace settings::core::detail
