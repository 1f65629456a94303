/// The settings tree of the tool: the one every application of this installation sees.
#pragma once

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"

#include <boost/shared_ptr.hpp>

#include <string>
#include <string_view>

namespace vksettings {

using Handle = boost::shared_ptr<settings::core::Settings>;

/// The root; groups are loaded when they are needed. Warns when there are none.
Handle root();
/// For commands that need no groups of this process: without the warning.
Handle rootForRemoteGroups();

/// False, with a problem for warnOfLoadProblems(), when the definitions of a top-level group cannot be had.
bool canBeLoaded(const Handle& group);

/// Reports files and toolboxes that could not be loaded on standard error, but those that `told`, what the
/// command has said in the end, names already, and those of the call before.
void warnOfLoadProblems(const std::string& told = {});

/// The group or setting of that full name, an alias followed as reading does: one step. InvalidNodePath.
/// Names that contain dots themselves are found as well.
Handle resolve(const std::string& fullName);
/// The same with a top-level group that may not be in the tree any more; the full name begins with its name.
Handle resolveIn(const Handle& group, const std::string& fullName);

/// A setting where it was found.
struct Setting {
    Handle group;
    std::string name;
    Handle handle; ///< of an alias: what it stands for

    /// As it was asked for: of an alias the alias's.
    std::string fullName() const;
    /// The setting itself, also where it is an alias.
    Handle itself() const;
};
/// InvalidNodePath for nothing, NotAKeyName for a group.
Setting resolveSetting(const std::string& fullName);
Setting resolveSettingIn(const Handle& group, const std::string& fullName);

/// Of the effective value without a level.
settingscore::boostany::ShapedArray shapedValue(const settings::core::Settings& group,
                                                const std::string& name, const std::string& level = {});
/// A list of one element is stored as such. Errors: those of Settings::set.
void store(settings::core::Settings& group, const std::string& name,
           const settingscore::boostany::ShapedArray& value, const std::string& level);

/// The value of one level. A run-time default that throws what nobody knows is none; a warning tells of it.
settingscore::boostany::ShapedArray valueOn(const Setting& setting, std::string_view level);

/// The value in effect, void when there is none, and its level, then empty.
struct EffectiveValue {
    settingscore::boostany::ShapedArray value;
    std::string level;
};
EffectiveValue effectiveValue(const Setting& setting);

} // namespace vksettings
