/// Whether a change is on the disk, and the failure when it is not.
#pragma once

#include "settingscore/Settings.hpp"

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>

namespace vksettings {

/// The value is in the tree of this process but did not reach its file.
class NotSaved : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Watches the file of one product and level over a change. Make it before the change.
class Saving {
  public:
    /// The node is the setting itself, or a group of the product. UnSupportedLevel; std::invalid_argument for
    /// "session" outside a shell: nothing would be left of the value when this process ends.
    Saving(const settings::core::Settings& node, const std::string& level);

    /// Raises NotSaved when the change is not in the file; says on standard error where a damaged file that
    /// was in its place is kept.
    void finish() const;

  private:
    std::set<std::filesystem::path> keptFiles() const;

    const settings::core::Settings& node_;
    const std::string level_;
    std::filesystem::path file_;
    std::set<std::filesystem::path> keptBefore_;
};

} // namespace vksettings
