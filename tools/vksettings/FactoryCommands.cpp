// factory build, install and from-gschema: what toolbox authors do.

#include "Commands.hpp"
#include "Printable.hpp"
#include "TargetFile.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/factoryfile/GSchemaConverter.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/PathText.hpp"

#include <filesystem>
#include <stdexcept>

namespace vksettings {

namespace {

std::filesystem::path factoryFolder() {
    const auto* level = settings::core::getSettingsLevelManagerInstance()->getSettingsLevelByName("factory");
    if (level->levelRootPath().empty())
        throw std::runtime_error("there is no factory folder: set SETTINGS_FACTORYDIR");
    return varnek::files::pathFromUtf16(level->levelRootPath());
}

} // namespace

void factoryBuild(const BuildOptions& options, std::ostream& out) {
    const auto generator =
        varnek::settings::FactoryFileGenerator::fromDocument(absolutePath(options.document));
    try {
        generator.write(targetPath(options.file), options.force);
    } catch (const settings::core::exception::ErrorSaveSettingsDueToFileIOError&) {
        if (options.force)
            throw;
        throw std::runtime_error(options.file + " is write-protected; --force writes it all the same");
    }
    out << printable("wrote " + options.file + ": definitions of \"" + generator.getGroup().getName() + "\"")
        << '\n';
}

void factoryInstall(const std::string& file, bool hidden, std::ostream& out) {
    const auto copy = settings::core::installFactoryFile(factoryFilePath(file), factoryFolder(), hidden);
    out << "installed " << printable(copy.string()) << '\n';
}

void factoryFromGSchema(const GSchemaOptions& options, std::ostream& out) {
    varnek::settings::GSchemaConverter converter;
    for (const std::string& file : options.files)
        converter.addFile(absolutePath(file));
    const auto result = converter.convert();
    const std::filesystem::path folder = options.folder.empty() ? "." : options.folder;
    for (const auto& document : result.documents) {
        const auto target = folder / (document.groupName + ".json");
        varnek::files::replaceFile(targetPath(target.string()), document.text,
                                   {.temporaryDirectoryRoot = {}, .mode = 0644, .keepsMode = true});
        out << "wrote " << printable(target.string()) << '\n';
    }
    for (const auto& left : result.unmapped)
        out << printable("not mapped: " + left.schema + (left.key.empty() ? "" : " " + left.key) + ": " +
                         left.reason)
            << '\n';
    out << "mapped " << counted(result.mappedKeys, "key") << " of " << counted(options.files.size(), "file")
        << ", not mapped " << result.unmappedKeys() << '\n';
}

} // namespace vksettings
