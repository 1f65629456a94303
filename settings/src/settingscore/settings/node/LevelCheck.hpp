/// The check that a level may be modified, run first by every operation that changes something.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/level/RootIndex.hpp"

#include <boost/shared_ptr.hpp>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core {
class Settings;
}

namespace settings::core::detail {

/// Makes the handle that an error carries; called on failure only.
using HandleMaker = std::function<boost::shared_ptr<const Settings>()>;

/// The level of that name; UnSupportedLevel.
LevelIndex requireLevel(std::string_view level, const HandleMaker& object);

/// The same, and CantModifyValuesOnReadOnlyLevel for "factory" and for "installation" when its folder cannot
/// be written: that of `tree`. The folder is probed once per process and folder; the first caller blocks on
/// the disk.
LevelIndex checkModifiableLevel(std::string_view level, const HandleMaker& object,
                                const RootIndex& tree = InvalidRootIndex());

/// The levels that may be modified in that tree, in order.
std::vector<std::string> modifiableLevelNames(const RootIndex& tree);

} // namespace settings::core::detail
