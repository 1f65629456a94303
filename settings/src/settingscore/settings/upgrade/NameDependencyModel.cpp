#include "settingscore/settings/upgrade/NameDependencyModel.hpp"

namespace settings::core::detail {

ReleaseCompatibilityResults NameDependencyModel::check(const PersonalTree& tree,
                                                       const std::string& releaseReached) const {
    ReleaseCompatibilityResults results;
    results.resultType = nameDependencyModelResults;
    results.versionLabel = releaseReached;
    VersionResults found{releaseReached, {}};
    for (const SettingsRename& row : rows_) {
        OperationResult result;
        result.operation = "rename";
        result.inputs = {row.oldName};
        result.outputs = {row.newName};
        if (tree.holds(row.oldName))
            result.status = ResultStatus::failed;
        else if (!tree.isOurs(row.oldName) || !tree.holds(row.newName))
            continue;
        found.versionChanges.push_back(std::move(result));
    }
    if (!found.versionChanges.empty())
        results.results.push_back(std::move(found));
    return results;
}

} // namespace settings::core::detail
