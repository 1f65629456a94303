/// One run of the changes between releases over what one personal file holds.
///
/// It applies, in order, what the file has not been through: from the indices of its version record to the
/// end of what the factory file declares. A change that fails is recorded, and the run goes on. Complete is
/// the record (number of upgraders, 0); a run that cannot go on leaves the record of the next change, (k, j),
/// and is taken up there the next time.
#pragma once

#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/upgrade/PersonalTree.hpp"
#include "settingscore/upgrade/ReleaseCompatibilityResults.hpp"
#include "settingscore/upgrade/Upgrader.hpp"

#include <vector>

namespace settings::core::detail {

Upgrader upgraderOf(const UpgraderRecord& record);

/// The record of a file that has been through the first `upgraders` of these.
VersionRecord recordAfter(const std::vector<UpgraderRecord>& changes, std::size_t upgraders);

struct UpgradeReport {
    ReleaseCompatibilityResults results; // empty: there was nothing to do
    bool hasRun = false;                 // the record is another one
    bool hasChangedValues = false;
    bool isInterrupted = false; // it is to be taken up again
};

/// Brings `content` and its record up to date. Logs what it does. Raises nothing but std::bad_alloc: the
/// content is then of no use. Blocks when it has to look into other groups' files.
UpgradeReport runUpgrade(SettingsFileContent& content, const FactoryChanges& changes, OtherGroups& others);

} // namespace settings::core::detail
