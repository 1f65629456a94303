/// What came of bringing personal settings up to date.
///
/// The application's language sees these as objects; asArray() builds them, one structure per object, with
/// the object's class as the field "ClassName".
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/upgrade/ReleaseCompatOps.hpp"
#include "varnek/data/Array.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace settings::core {

/// Kinds of results: the names in the results log.
inline constexpr std::string_view userSettingsUpgrade = "UserSettingsUpgrade";
inline constexpr std::string_view nameDependencyModelResults = "NameDependencyModelResults";

/// Class "varnek.settings.ReleaseCompatibilityException".
struct ReleaseCompatibilityException {
    std::string exceptionId;  ///< "VARNEK:settings:config:..."; empty where there is none
    std::string exceptionLog; ///< what it said, UTF-8

    bool operator==(const ReleaseCompatibilityException&) const = default;
};

/// Class "varnek.settings.OperationResult": one change.
struct OperationResult {
    std::string operation;
    std::vector<std::string> inputs;
    std::vector<std::string> outputs;
    ResultStatus status = ResultStatus::succeeded;
    std::vector<ReleaseCompatibilityException> preValidationExceptions;
    std::vector<ReleaseCompatibilityException> exceptionLog; ///< of carrying it out
    /// Of the pre-validation, and of carrying it out when it came to that.
    std::vector<ResultStatus> upgradeFcnResults;

    bool operator==(const OperationResult&) const = default;
};

/// Class "varnek.settings.VersionResults": the changes of one release.
struct VersionResults {
    std::string versionLabel;
    std::vector<OperationResult> versionChanges;

    bool operator==(const VersionResults&) const = default;
};

/// Class "varnek.settings.ReleaseCompatibilityResults": one run for one top-level group.
struct SETTINGSCORE_EXPORT ReleaseCompatibilityResults {
    std::string resultType{userSettingsUpgrade};
    std::string versionLabel; ///< the release that was reached
    /// Why the run did not begin, or ended before its last change.
    std::vector<ReleaseCompatibilityException> preValidationExceptions;
    std::vector<VersionResults> results;

    /// Nothing to tell.
    bool isEmpty() const noexcept { return preValidationExceptions.empty() && results.empty(); }

    bool operator==(const ReleaseCompatibilityResults&) const = default;
};

SETTINGSCORE_EXPORT varnek::data::Array asArray(const ReleaseCompatibilityResults& results);

} // namespace settings::core
