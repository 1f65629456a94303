/// The personal values of one top-level group while they are brought up to date: what its file holds, before
/// any of it is in the settings tree.
///
/// Places are named as factory files do: full names, from the top-level group down. A name that contains dots
/// itself is found where there is one. Empty groups that nobody added on purpose count as absent.
#pragma once

#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/upgrade/UpgradePosition.hpp"
#include "settingscore/upgrade/VersionLabel.hpp"

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace settings::core::detail {

class OtherGroups;

/// The group that a full name begins with.
std::string topLevelOf(const std::string& fullName);

/// A node outside any tree: one of the two.
struct DetachedNode {
    std::optional<SettingRecord> setting;
    std::optional<GroupRecord> group;
};

/// Confined to one thread; refers to what it is given.
class PersonalTree {
  public:
    /// `isSecret`: the values stand in an encrypted file.
    PersonalTree(GroupRecord& values, OtherGroups& others, bool isSecret)
        : values_(values), others_(others), isSecret_(isSecret) {}

    const std::string& group() const noexcept { return values_.name; }
    OtherGroups& others() const noexcept { return others_; }
    bool isSecret() const noexcept { return isSecret_; }

    /// The release whose changes are being carried out, and the change.
    const VersionLabel& release() const noexcept { return release_; }
    const UpgradePosition& position() const noexcept { return position_; }
    void setPosition(UpgradePosition position, VersionLabel release) {
        position_ = position;
        release_ = std::move(release);
    }

    /// Whether the name begins at this top-level group.
    bool isOurs(const std::string& fullName) const;
    /// Whether the name is one that a node may have, here or in the group that it begins with.
    bool isWellFormed(const std::string& fullName) const;
    bool holds(const std::string& fullName) const;
    /// The setting on the way where the name asks for a group; empty when there is none.
    std::string settingInTheWay(const std::string& fullName) const;
    /// Whether a node could be put there.
    bool isFree(const std::string& fullName) const;
    /// The same as soon as the node at `leaving` is gone.
    bool isFreeWithout(const std::string& fullName, const std::string& leaving);

    /// A copy of what is there; it is there.
    DetachedNode copyOf(const std::string& fullName) const;
    /// GroupOrSettingNameAlreadyExists; nothing is changed then.
    void put(const std::string& fullName, DetachedNode node);
    void erase(const std::string& fullName);
    /// put() of what stands at `from`, then erase(); all or nothing.
    void move(const std::string& from, const std::string& to);
    /// Whether one of these has changed anything.
    bool hasChanged() const noexcept { return hasChanged_; }

  private:
    using Names = std::vector<std::string>;

    /// Below the top-level group; nothing for a name that is not ours or is not well-formed.
    std::optional<Names> split(const std::string& fullName) const;
    /// The names of the nodes that are there; nothing when one is missing.
    std::optional<Names> resolve(const std::string& fullName) const;
    DetachedNode detach(const Names& names);
    void attach(const Names& names, DetachedNode node);
    void prune(const Names& names);

    GroupRecord& values_;
    OtherGroups& others_;
    const bool isSecret_;
    VersionLabel release_;
    UpgradePosition position_;
    bool hasChanged_ = false;
};

/// A place in a personal tree.
struct PersonalNode {
    PersonalTree& tree;
    std::string fullName;
};

/// The files of the other top-level groups, as far as a run needs them. Confined to one thread.
class OtherGroups {
  public:
    virtual ~OtherGroups() = default;

    /// The changes of that group are being carried out, until leave(). They may nest.
    virtual void enter(PersonalTree& /*tree*/) {}
    virtual void leave() noexcept {}

    /// Whether there is a top-level group of that name.
    virtual bool knows(const std::string& group) const = 0;
    /// Where a node is to be put today that the change being carried out on `from` puts at `fullName` of
    /// another group. Nothing when later changes have removed it. Raises UpgradeInterrupted when that file
    /// cannot be had now, and std::runtime_error when it never can.
    virtual std::optional<PersonalNode> open(PersonalTree& from, const std::string& fullName) = 0;
};

/// The run cannot go on now; it will be taken up again. what() says why.
class UpgradeInterrupted : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace settings::core::detail
