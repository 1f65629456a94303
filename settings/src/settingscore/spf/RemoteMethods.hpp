/// The calls between a remote node and the process that publishes it: their names, arguments and replies.
///
/// Every call begins with the path of the node that is asked: a list of the names below the published group,
/// empty for the group itself. Paths are lists, since names may contain dots.
#pragma once

#include "settingscore/settings/node/SettingsNodeImpl.hpp"
#include "spf/Value.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace settings::spf {

using varnek::spf::Value;
using Path = std::vector<std::string>; ///< of a node, from the published group (not in it) down

namespace method {

// (path, name) -> nothing, or [flags]; of an alias to a node of the group [flags, its path]
inline constexpr char callGetChild[] = "callGetChild";
// (path) -> [name, flags, name, flags, ...], in ascending order of the names
inline constexpr char getChildrenNames[] = "getChildrenNames";
inline constexpr char getChildrenNamesConst[] = "getChildrenNamesConst";
// (path) -> text; empty for the group itself
inline constexpr char getParentFullName[] = "getParentFullName";
// (path, name, level) -> array; without a level name the effective value
inline constexpr char getSettingMDArray[] = "getSettingMDArray";
// (path, name, level)
inline constexpr char unset[] = "unset";
// (path, name)
inline constexpr char removeNode[] = "removeNode";
// (path, truth value)
inline constexpr char setSyncWithVCOSTree[] = "setSyncWithVCOSTree";
// (path) -> truth value
inline constexpr char needsSyncWithVCOSTree[] = "needsSyncWithVCOSTree";
// (path)
inline constexpr char loadUserSettingsOncePerPrefdir[] = "loadUserSettingsOncePerPrefdir";
// (path) -> truth value
inline constexpr char isRoot[] = "isRoot";
inline constexpr char isReadOnly[] = "isReadOnly";
inline constexpr char isVisible[] = "isVisible";
inline constexpr char isLeafNode[] = "isLeafNode";

} // namespace method

/// What a publishing process announces beside the calls: [path of a setting, its effective value before].
inline constexpr char valueChangeTopic[] = "valueChange";

/// What another process may call a node: each step is a node here. Definition documents nest about 30 deep;
/// the names of a group have to fit into 4 KiB wherever it is (isAcceptableName).
inline constexpr std::size_t mostSteps = 64;
inline constexpr std::size_t mostBytesOfNames = 4096;

/// What a reply says of a node.
namespace flag {
inline constexpr std::uint32_t leaf = 1;
inline constexpr std::uint32_t visible = 2;
inline constexpr std::uint32_t readOnly = 4;
} // namespace flag

std::int64_t flagsOf(const core::detail::SettingsNodeImpl& node);

Value toValue(const Path& path);
/// How a handle to the root crosses in a failure; one to a node of the group crosses as its path.
inline Value rootHandle() {
    return Value(true);
}
/// A handle to a node of another group crosses as nothing, then the names from the top-level group down.
Value foreignHandle(const Path& names);
/// The names; empty for any other value. RemoteError of kind malformed as toPath().
Path foreignNames(const Value& value);
/// RemoteError of kind malformed for anything but a list of texts, and for a path that is too long.
Path toPath(const Value& value);
/// RemoteError of kind malformed for a path that is too long.
void requireShort(const Path& path);

/// The argument at `position`; RemoteError of kind malformed when there is none.
const Value& at(const Value::List& values, std::size_t position);

} // namespace settings::spf
