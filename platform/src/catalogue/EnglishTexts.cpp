#include "catalogue/EnglishTexts.hpp"

#include <algorithm>
#include <tuple>

namespace varnek::catalogue {
namespace {

constexpr std::string_view config = "VARNEK:settings:config";
constexpr std::string_view core = "VARNEK:settings:core";
constexpr std::string_view prefdir = "VARNEK:settings:prefdir";

constexpr EnglishText texts[] = {
    {config, "ErrorAddingProductSettingsGroup", "group, detail",
     "The settings group \"{0}\" of a product could not be added: {1}"},
    {config, "FactoryTreeChangesAreEmpty", "group",
     "The factory settings of \"{0}\" declare no changes between releases."},
    {config, "FactoryTreeDoesNotExist", "group", "There are no factory settings for the group \"{0}\"."},
    {config, "GroupOrSettingNameAlreadyExists", "name",
     "A group or setting named \"{0}\" already exists there."},
    {config, "InvalidPersonalSettingsVersion", "group, version",
     "The version {1} recorded with the personal settings of \"{0}\" does not fit its factory settings."},
    {config, "PathNotRelativeToMasterFile", "path",
     "The path \"{0}\" does not begin at the top-level group of its settings file."},

    {core, "CFunctionNotFound", "library, function", "The library \"{0}\" has no function \"{1}\"."},
    {core, "CanNotCreateTempDirectory", "folder",
     "A temporary folder for saving settings could not be created in \"{0}\"."},
    {core, "DataTypeNotMatch", "expected type, actual type",
     "The setting holds a value of type \"{1}\", but a value of type \"{0}\" was asked for."},
    {core, "ErrorCopyFileInPrefDir", "source, destination, detail",
     "The file \"{0}\" could not be copied to \"{1}\" in the preferences folder: {2}"},
    {core, "ErrorCreatePreferenceDirectoryTimeStamp", "path, detail",
     "The creation time of the preferences folder could not be written to \"{0}\": {1}"},
    {core, "ErrorOverwriteFileInPrefDir", "path",
     "The file \"{0}\" in the preferences folder could not be replaced."},
    {core, "ExecEngineNotReadyForProcessingMFunction", "",
     "A VARNEK function of a setting was called before the execution engine was ready."},
    {core, "JVMNotReadyForProcessingJavaFunction", "",
     "A Java function of a setting was called before the Java virtual machine was ready."},
    {core, "NoWritePermissionOnDirectory", "folder, detail",
     "The folder \"{0}\" does not permit writing: {1}"},
    {core, "PreferenceDirectoryNotExist", "path, detail",
     "The preferences folder \"{0}\" does not exist: {1}"},
    {core, "SettingsLibraryNotInitialized", "operation",
     "The settings library was used before it had started: {0}"},
    {core, "SettingsUserDirectoryNotExist", "", "The folder of the user's settings does not exist."},
    {core, "UnconvertibleType", "type of the value, requested type",
     "A value of type \"{0}\" cannot be converted to type \"{1}\"."},
    {core, "VARNEKFuncMustBeInvokedByExecEngine", "",
     "A VARNEK function of a setting can be called on the thread of the execution engine only."},

    {prefdir, "BadAlloc", "path", "There was not enough memory to create the preferences folder \"{0}\"."},
    {prefdir, "CreateTempPrefdirErrorSuffix", "temporary folder",
     "The temporary preferences folder \"{0}\" is used for this session."},
    {prefdir, "DefaultError", "path", "The preferences folder \"{0}\" could not be created."},
    {prefdir, "FileNameConversionFailure", "path",
     "The name of the preferences folder \"{0}\" cannot be expressed on this file system."},
    {prefdir, "FileNameTooLarge", "path", "The name of the preferences folder \"{0}\" is too long."},
    {prefdir, "InvalidArgument", "path", "\"{0}\" is no name for a preferences folder."},
    {prefdir, "PathNotFound", "path",
     "The preferences folder \"{0}\" could not be created: a folder above it does not exist."},
    {prefdir, "SystemError", "path, message of the system",
     "The preferences folder \"{0}\" could not be created: {1}"},
};

constexpr auto nameOf = [](const EnglishText& text) { return std::tie(text.component, text.key); };

static_assert(std::ranges::is_sorted(texts, std::ranges::less(), nameOf) &&
              std::ranges::adjacent_find(texts, {}, nameOf) == std::ranges::end(texts));

} // namespace

std::span<const EnglishText> englishTexts() noexcept {
    return texts;
}

const EnglishText* findEnglishText(std::string_view component, std::string_view key) noexcept {
    const auto name = std::tie(component, key);
    const auto* found = std::ranges::lower_bound(texts, name, {}, nameOf);
    return found != std::ranges::end(texts) && nameOf(*found) == name ? found : nullptr;
}

} // namespace varnek::catalogue
