/// The check of names that changed between releases: which personal values still stand under an old name.
#pragma once

#include "settingscore/settings/upgrade/PersonalTree.hpp"
#include "settingscore/upgrade/ReleaseCompatibilityResults.hpp"
#include "settingscore/upgrade/SettingsRenames.hpp"

#include <vector>

namespace settings::core::detail {

/// Changes nothing. Thread-safe.
class NameDependencyModel {
  public:
    explicit NameDependencyModel(std::vector<SettingsRename> rows) : rows_(std::move(rows)) {}

    /// For each row whose old name belongs to the tree: "Failed" when something stands under the old name
    /// still, so that nothing sees it; "Succeeded" when it stands under the new one. Other rows are left out.
    ReleaseCompatibilityResults check(const PersonalTree& tree, const std::string& releaseReached) const;

  private:
    std::vector<SettingsRename> rows_;
};

} // namespace settings::core::detail
