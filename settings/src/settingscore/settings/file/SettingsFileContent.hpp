/// What a settings file says, as plain data between the package and the tree.
///
/// Reading fills it completely before any node is touched; writing takes it from the tree and from what an
/// earlier read left over. All classes are values; distinct objects may be used from any threads.
#pragma once

#include "settingscore/node/ReleaseChanges.hpp"
#include "settingscore/settings/node/LevelValues.hpp"
#include "settingscore/settings/node/NodeDefinition.hpp"
#include "settingscore/validation/ReadOnlyState.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace settings::core::detail {

/// One setting as the file of one level holds it.
struct SettingRecord {
    std::string name;
    ShapedArray value; // void: no value on this level
    ReadOnlyState readOnly = ReadOnlyState::inherited;
    bool visible = true;
    bool isUserDefined = false;                   // added by a user, so that no factory file defines it
    std::unique_ptr<NodeDefinition> definition{}; // null: nothing beyond the above

    SettingRecord clone() const;
};

/// One group with everything below it. Settings and groups are sorted by name, and no two children of one
/// group, of whichever kind, share a name.
struct GroupRecord {
    std::string name;
    ReadOnlyState readOnly = ReadOnlyState::inherited;
    bool visible = true;
    bool isUserDefined = false;
    std::unique_ptr<NodeDefinition> definition{};
    std::vector<SettingRecord> settings{};
    std::vector<GroupRecord> groups{};
    std::optional<std::uint32_t> version{}; // of the definitions; factory files only

    /// Nothing that would be missed: no setting and no user-defined group, all the way down.
    bool isEmpty() const noexcept;
    GroupRecord clone() const;
    /// Whether a setting that both hold has another value here than in `before`. Other differences are not
    /// looked for.
    bool changesValueOf(const GroupRecord& before) const noexcept;
    /// Takes over what `other` has and this group has not; where both have a child of one name, this one
    /// stays.
    void addMissing(GroupRecord other);
    /// Takes out what `other` has with the same value, and groups in which nothing is left.
    void removeSame(const GroupRecord& other);
    /// Takes out the node at `path`, the names from a child of this group on. False: there is none.
    bool remove(std::span<const std::string> path);
};

/// A part that this library does not know.
struct ForeignPart {
    std::u16string name;
    std::shared_ptr<const std::string> bytes;
    std::string contentType;
};

struct SettingsFileContent {
    GroupRecord tree;
    std::optional<VersionRecord> version;  // personal files that an upgrade run has seen
    std::vector<UpgraderRecord> upgraders; // factory files
    std::vector<ForeignPart> foreignParts; // sorted by name
    bool isEncrypted = false;
    std::uint64_t revision = 0;
    std::string release; // label of the release that wrote the file
};

} // namespace settings::core::detail
