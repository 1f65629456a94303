/// The classes and fields of results, as the application's language and the results log have them. Logs
/// outlive releases, so none of them ever changes.
#pragma once

#include <string_view>

namespace settings::core::detail::results {

inline constexpr std::string_view runClass = "varnek.settings.ReleaseCompatibilityResults";
inline constexpr std::string_view versionClass = "varnek.settings.VersionResults";
inline constexpr std::string_view operationClass = "varnek.settings.OperationResult";
inline constexpr std::string_view exceptionClass = "varnek.settings.ReleaseCompatibilityException";

inline constexpr std::string_view className = "ClassName"; // of a structure that stands for an object
inline constexpr std::string_view resultType = "ResultType";
inline constexpr std::string_view versionLabel = "VersionLabel";
inline constexpr std::string_view preValidationExceptions = "PreValidationExceptions";
inline constexpr std::string_view results = "Results";
inline constexpr std::string_view versionChanges = "VersionChanges";
inline constexpr std::string_view operation = "Operation";
inline constexpr std::string_view status = "Status";
inline constexpr std::string_view inputs = "Inputs";
inline constexpr std::string_view outputs = "Outputs";
inline constexpr std::string_view exceptionLog = "ExceptionLog";
inline constexpr std::string_view exceptionId = "ExceptionID";
inline constexpr std::string_view upgradeFcnResults = "UpgradeFcnResults";

} // namespace settings::core::detail::results
