/// What a factory file declares about changes between releases, and how far a personal file has followed
/// them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace settings::core::detail {

/// One declared change, as files carry it: the operation's name ("move", "remove") and the paths it reads and
/// writes.
struct ChangeRecord {
    std::string operation;
    std::vector<std::string> inputs;
    std::vector<std::string> outputs;

    bool operator==(const ChangeRecord&) const = default;
};

/// The changes that one release introduced, in the order in which they apply.
struct UpgraderRecord {
    std::u16string versionLabel;
    std::vector<ChangeRecord> changes;

    bool operator==(const UpgraderRecord&) const = default;
};

/// How many upgraders, and changes of the current one, a personal file has been through.
struct VersionRecord {
    std::uint64_t upgraderIndex = 0;
    std::uint64_t changeIndex = 0;
    ChangeRecord lastChange;
    std::string releaseVersion;

    bool operator==(const VersionRecord&) const = default;
};

} // namespace settings::core::detail
