#include "settingscore/settings/file/SettingsFileWriter.hpp"

#include "opc/PackageError.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/file/GroupJson.hpp"
#include "settingscore/settings/file/NameText.hpp"
#include "settingscore/settings/file/ReleaseJson.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/FolderLock.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/release/Release.hpp"
#include "json/Writer.hpp"

namespace settings::core::detail {

using opc::qfservices::FileSystemManager;

namespace {

/// Fills one package. Parts replace what has their name.
class PackageWriter {
  public:
    PackageWriter(const opc::model::Package& package, LevelIndex level)
        : package_(package), parts_(package), level_(level) {}

    void setProperties(std::uint64_t revision) {
        opc::qfservices::CoreProperties properties;
        properties.title = keys::title;
        properties.contentType = keys::contentType;
        properties.version = varnek::release::getCurrentVARNEKReleaseInfo().label.text();
        properties.revision = revision;
        opc::qfservices::CorePropertiesManager(package_).setCoreProperties(properties);
    }

    void write(const SettingsFileContent& content) {
        addPart(keys::schemaPart, std::string(keys::schemaIdentifier));
        writeGroup(content.tree, std::u16string(keys::treeFolder), content.tree.name);
        if (level_ == LevelIndex::factory)
            addPart(keys::upgradersPart, varnek::json::write(writeUpgraders(content.upgraders)));
        else if (content.version)
            addPart(keys::versionPart, varnek::json::write(writeVersion(*content.version)));
        for (const ForeignPart& part : content.foreignParts)
            writeForeign(part);
    }

  private:
    void addPart(std::u16string_view name, std::string text) {
        parts_.addFile(name, std::move(text), opc::qfservices::getTextContentType());
    }

    void writeGroup(const GroupRecord& group, const std::u16string& folder, const std::string& fullName) {
        addPart(folder + std::u16string(keys::groupFile),
                varnek::json::write(detail::writeGroup(group, fullName, level_)));
        for (const GroupRecord& child : group.groups)
            writeGroup(child, folder + u"/" + folderNameOf(child.name), fullName + "." + child.name);
    }

    /// A part of ours that has come into its place wins.
    void writeForeign(const ForeignPart& part) {
        try {
            if (!parts_.hasEntry(part.name))
                parts_.addFile(part.name, *part.bytes, part.contentType);
        } catch (const opc::WriteError& failure) {
            if (failure.kind() != opc::ErrorKind::duplicatePart)
                throw;
            VARNEK_LOG(fileLog, warning) << failure.what();
        }
    }

    const opc::model::Package& package_;
    FileSystemManager parts_;
    LevelIndex level_;
};

/// The group whose settings a package holds; nothing when it is no settings file.
std::optional<std::string> groupIn(const opc::model::Package& package, const std::filesystem::path& file) {
    const auto group = readGroupPart(package, file, keys::treeFolder, FileUse::factory);
    if (!group)
        return std::nullopt;
    return group->name.empty() ? groupNameOf(file) : group->name;
}

/// The path is a user's choice, and perhaps a slip of the hand.
void checkReplaceable(const PresentFile& present, const std::filesystem::path& file, const std::string& group,
                      LevelIndex level) {
    const std::string name = '"' + file.string() + "\": ";
    const std::string notOurs = name + "the file is there already and is no settings file";
    switch (present.state) {
    case PresentFile::State::absent:
        return;
    case PresentFile::State::encrypted:
        throwNotWritten(file, name + "an encrypted file is never replaced by a plain one");
    case PresentFile::State::unreadable:
        throwNotWritten(file, present.message);
    case PresentFile::State::damaged: {
        std::error_code ignored;
        if (std::filesystem::file_size(file, ignored) != 0)
            throwNotWritten(file, notOurs);
        return;
    }
    case PresentFile::State::plain: {
        const auto owner = groupIn(*present.package, file);
        if (!owner)
            throwNotWritten(file, notOurs);
        if (*owner != group)
            throwNotWritten(file, name + "the file is there already and holds the settings of \"" +
                                      varnek::files::shownName(*owner) + "\", not of \"" + group + "\"");
        const bool areDefinitions = holdsDefinitions(*present.package);
        if (areDefinitions != (level == LevelIndex::factory))
            throwNotWritten(file,
                            name + (areDefinitions
                                        ? "the file is there already and holds definitions, not values"
                                        : "the file is there already and holds values, not definitions"));
    }
    }
}

} // namespace

std::optional<std::string> fileImage(SettingsFileContent& content, LevelIndex level,
                                     const PresentFile& present) {
    const auto package = opc::model::Package::create();
    PackageWriter writer(package, level);
    writer.setProperties(present.revision);
    writer.write(content);
    if (present.state == PresentFile::State::plain && present.package &&
        opc::model::sameContent(*present.package, package))
        return std::nullopt;
    content.revision = std::max(present.revision, content.revision) + 1;
    writer.setProperties(content.revision);
    return package.toBytes();
}

void SettingsFileWriter::write(SettingsFileContent content, LevelIndex level,
                               const std::filesystem::path& file, Readers readers) {
    const bool isForAll = readers == Readers::everybody || level == LevelIndex::factory;
    const varnek::files::FolderLock othersOut(file.parent_path()); // between somebody's reading and writing
    const PresentFile present = PresentFile::at(file);
    try {
        checkReplaceable(present, file, content.tree.name, level);
        const auto bytes = fileImage(content, level, present);
        if (bytes)
            varnek::files::replaceFile(
                file, *bytes,
                {.temporaryDirectoryRoot = {}, .mode = isForAll ? 0644U : 0600U, .keepsMode = isForAll});
    } catch (const exception::SettingsFileNotWritten&) {
        throw;
    } catch (const std::exception& failure) {
        throwNotWritten(file, failure.what());
    }
}

void SettingsFileWriter::write(const NodePtr& group, LevelIndex level, const std::filesystem::path& file,
                               const std::optional<VersionRecord>& version) {
    SettingsFileContent content;
    content.tree = snapshotOf(group, level);
    content.version = version;
    write(std::move(content), level, file);
}

void SettingsFileWriter::writeFactoryFile(const NodePtr& group, const std::filesystem::path& file,
                                          const std::vector<UpgraderRecord>& upgraders,
                                          std::optional<std::uint32_t> version) {
    VARNEK_LOG(fileLog, info) << "Start:Write factory file: " << file.string();
    SettingsFileContent content;
    content.tree = snapshotOf(group, LevelIndex::factory);
    if (version)
        content.tree.version = version;
    content.upgraders = upgraders;
    write(std::move(content), LevelIndex::factory, file);
    VARNEK_LOG(fileLog, info) << "Finish:Write factory file: " << file.string();
}

} // namespace settings::core::detail
