/// The version record of personal files and the upgraders of factory files as JSON. Functions are
/// thread-safe; reading raises ErrorReadingSettingsData.
#pragma once

#include "settingscore/node/ReleaseChanges.hpp"
#include "settingscore/settings/file/FileFault.hpp"

#include <vector>

namespace settings::core::detail {

varnek::json::Object writeVersion(const VersionRecord& record);
VersionRecord readVersion(const varnek::json::Object& json, const FilePlace& place);

varnek::json::Array writeUpgraders(const std::vector<UpgraderRecord>& upgraders);
std::vector<UpgraderRecord> readUpgraders(const varnek::json::Value& json, const FilePlace& place);

} // namespace settings::core::detail
