/// The toolbox groups of a tree: what declares them, and changing their definitions while the tree is used.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/level/RootIndex.hpp"
#include "settingscore/root/FactorySettingsDefinition.hpp"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core {

/// Where the definitions of a group come from.
enum class ToolboxSource : std::uint8_t {
    none = 0,     ///< declared, but nothing defines it yet: the group is not in the tree
    file = 1,     ///< factory files
    service = 2,  ///< a varnek::settings::FactorySettings
    language = 3, ///< code in the application's language
};

/// "none", "file", "service", "language".
SETTINGSCORE_EXPORT std::string_view nameOf(ToolboxSource source) noexcept;

struct ToolboxGroup {
    std::string name;
    ToolboxSource source = ToolboxSource::none;
    std::vector<std::filesystem::path> files; ///< factory files, or the file that declares the code
    bool isVisible = true;
    bool isLoaded = false;                ///< its definitions have been needed
    std::chrono::nanoseconds loadTime{0}; ///< that took; 0 before
};

/// Every declared group, in the order of their names; loads none of them. SettingsLibraryNotInitialized when
/// there is no such tree. Thread-safe.
SETTINGSCORE_EXPORT std::vector<ToolboxGroup> getToolboxGroups(const RootIndex& tree);

namespace detail {

// Each of these reads the definitions of the group anew; when that fails, nothing has changed. Code that
// makes no group, or another one than it declares, and an added group of the name leave what is there;
// getLoadProblems says so. What is given here belongs to the tree that is there: MSettings::reset starts
// without it. Settings that both have keep their values on all levels, those that are gone keep their
// personal values in the files, and listeners hear of everything that is new, gone or has another effective
// value. A group that nobody has needed yet is read when it is needed, one that is new is added. Errors:
// SettingsLibraryNotInitialized when there is no such tree; what reading the definitions raises. Thread-safe;
// block on the disk and in the code that makes definitions.

/// Its factory files are these from now on, absolute paths; a service that is registered for the group stays
/// in force over them, and is asked again. std::invalid_argument for none and for relative ones.
SETTINGSCORE_EXPORT void updateToolboxGroup(const RootIndex& tree, const std::string& toolboxGroupName,
                                            const std::vector<std::filesystem::path>& factoryFiles,
                                            bool isVisible = true);
/// Its definitions come from this code from now on, unless a service is registered for the group.
/// std::invalid_argument for a group that factory files define.
SETTINGSCORE_EXPORT void
updateToolboxGroupWithFunctions(const RootIndex& tree,
                                const boost::shared_ptr<const VARNEKFactorySettingsDefinition>& definition);

/// The factory files that loaders need before the application's start is complete.
SETTINGSCORE_EXPORT std::set<std::filesystem::path> getEarlyStartupFactoryFileNames(const RootIndex& tree);

} // namespace detail
} // namespace settings::core
