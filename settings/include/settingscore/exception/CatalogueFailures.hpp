/// Internal failures whose texts stand in the application's message catalogue.
///
/// Each is a type of its own; its base varnek::catalogue::CatalogueException gives the identifier (component,
/// colon, key) and the arguments. The list at each type names the arguments in their order; texts are UTF-8
/// or UTF-16. The key is the name of the type. VARNEK::settings::core::UnconvertibleType, which belongs to
/// the value model, comes with this header as well.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/boostany/UnconvertibleType.hpp"
#include "varnek/catalogue/MessageException.hpp"

#include <cstddef>
#include <string_view>

// One failure of the component of the enclosing namespace. Its tag is exported, so that it can be caught
// everywhere.
#define SETTINGSCORE_MESSAGE(name, count)                                                                    \
    struct SETTINGSCORE_EXPORT name##Tag {                                                                   \
        static constexpr std::string_view component = messageComponent;                                      \
        static constexpr std::string_view key = #name;                                                       \
        static constexpr std::size_t argumentCount = count;                                                  \
    };                                                                                                       \
    using name = varnek::catalogue::MessageException<name##Tag>;

namespace VARNEK::settings {

namespace core {

inline constexpr std::string_view messageComponent = "VARNEK:settings:core";

/// (library name, function name): a plug-in library lacks a validation or run-time default function.
SETTINGSCORE_MESSAGE(CFunctionNotFound, 2)
/// (operation): the library is used before its start-up is completed.
SETTINGSCORE_MESSAGE(SettingsLibraryNotInitialized, 1)
/// A Java validator is called before the Java machine is ready.
SETTINGSCORE_MESSAGE(JVMNotReadyForProcessingJavaFunction, 0)
/// A language function is called on another thread than the language engine's.
SETTINGSCORE_MESSAGE(VARNEKFuncMustBeInvokedByExecEngine, 0)
/// A language function is called before the engine is ready.
SETTINGSCORE_MESSAGE(ExecEngineNotReadyForProcessingMFunction, 0)
/// (expected type name, actual type name): a typed read does not match the stored type.
SETTINGSCORE_MESSAGE(DataTypeNotMatch, 2)
/// (folder): the temporary folder of a save cannot be made.
SETTINGSCORE_MESSAGE(CanNotCreateTempDirectory, 1)
/// (folder, detail): the folder of a save cannot be written.
SETTINGSCORE_MESSAGE(NoWritePermissionOnDirectory, 2)
/// (file): a file in the preferences directory cannot be replaced.
SETTINGSCORE_MESSAGE(ErrorOverwriteFileInPrefDir, 1)
/// (path, detail): the creation time of the preferences directory cannot be written.
SETTINGSCORE_MESSAGE(ErrorCreatePreferenceDirectoryTimeStamp, 2)
/// (path, detail): the preferences directory is not there.
SETTINGSCORE_MESSAGE(PreferenceDirectoryNotExist, 2)
/// (source, destination, detail): a file of a preferences directory is not copied.
SETTINGSCORE_MESSAGE(ErrorCopyFileInPrefDir, 3)
/// The folder of the user's settings is not there.
SETTINGSCORE_MESSAGE(SettingsUserDirectoryNotExist, 0)

} // namespace core

/// Why the preferences directory cannot be made; the path is its own, (path) where nothing else is said.
namespace prefdir {

inline constexpr std::string_view messageComponent = "VARNEK:settings:prefdir";

/// (temporary folder): the sentence that is added when a temporary folder is used in its place.
SETTINGSCORE_MESSAGE(CreateTempPrefdirErrorSuffix, 1)
SETTINGSCORE_MESSAGE(FileNameTooLarge, 1)
SETTINGSCORE_MESSAGE(InvalidArgument, 1)
SETTINGSCORE_MESSAGE(FileNameConversionFailure, 1)
SETTINGSCORE_MESSAGE(PathNotFound, 1)
SETTINGSCORE_MESSAGE(BadAlloc, 1)
SETTINGSCORE_MESSAGE(DefaultError, 1)
/// (path, the system's words)
SETTINGSCORE_MESSAGE(SystemError, 2)

} // namespace prefdir

/// Upgrade of personal settings, and definitions of products.
namespace config {

inline constexpr std::string_view messageComponent = "VARNEK:settings:config";

/// (group, detail): the group of a product cannot be added.
SETTINGSCORE_MESSAGE(ErrorAddingProductSettingsGroup, 2)
/// (group): the factory definitions declare no changes between releases.
SETTINGSCORE_MESSAGE(FactoryTreeChangesAreEmpty, 1)
/// (group): there are no factory definitions.
SETTINGSCORE_MESSAGE(FactoryTreeDoesNotExist, 1)
/// (name): a move would land on a name in use.
SETTINGSCORE_MESSAGE(GroupOrSettingNameAlreadyExists, 1)
/// (group, version): the recorded version does not fit the factory definitions.
SETTINGSCORE_MESSAGE(InvalidPersonalSettingsVersion, 2)
/// (path): a path does not begin at the top-level group of its file.
SETTINGSCORE_MESSAGE(PathNotRelativeToMasterFile, 1)

} // namespace config
} // namespace VARNEK::settings

#undef SETTINGSCORE_MESSAGE
