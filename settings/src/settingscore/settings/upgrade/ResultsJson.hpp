/// Results as JSON: each object in the typed form, its class as "qftype" and an object of its fields as
/// "qfdata". Functions are thread-safe.
#pragma once

#include "settingscore/upgrade/ReleaseCompatibilityResults.hpp"
#include "json/Value.hpp"

namespace settings::core::detail {

varnek::json::Value writeResults(const ReleaseCompatibilityResults& results);

/// What is no result, or of no known class, is left out: the log may be of a later release.
ReleaseCompatibilityResults readResults(const varnek::json::Value& json);

} // namespace settings::core::detail
