#include "settingscore/settings/file/SettingsFileReader.hpp"

#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/settings/file/EncryptedPackage.hpp"
#include "settingscore/settings/file/NameText.hpp"
#include "settingscore/settings/file/ReleaseJson.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "varnek/files/PathText.hpp"

#include <algorithm>

namespace settings::core::detail {

using opc::qfservices::FileSystemEntry;
using opc::qfservices::FileSystemManager;

namespace {

std::string utf8Of(std::u16string_view partName) {
    return varnek::files::utf8FromUtf16(partName).value_or(std::string());
}

/// Walks the parts of one package.
class PackageReader {
  public:
    PackageReader(const opc::model::Package& package, const std::filesystem::path& file, FileUse use)
        : parts_(package), file_(file), groups_(use), use_(use) {}

    SettingsFileContent read() {
        SettingsFileContent content;
        if (!parts_.hasEntry(groupFileIn(keys::treeFolder)))
            at(groupFileIn(keys::treeFolder)).refuse(ReadError::structure, {}, "the part is missing");
        for (const FileSystemEntry& entry : parts_.getChildren(u"/"))
            readTopEntry(entry, content);
        content.foreignParts = std::move(foreign_);
        return content;
    }

    GroupRecord readGroup(const std::u16string& folder) {
        const std::u16string part = groupFileIn(folder);
        const FilePlace place = at(part);
        const auto text = parts_.getFileContentSource(part);
        return groups_.read(place.parseObject(*text), place);
    }

    static std::u16string groupFileIn(std::u16string_view folder) {
        return std::u16string(folder).append(keys::groupFile);
    }

  private:
    FilePlace at(std::u16string_view part) const { return {file_, utf8Of(part)}; }

    void readTopEntry(const FileSystemEntry& entry, SettingsFileContent& content) {
        const std::u16string& name = entry.getPathName();
        if (name == keys::treeFolder) {
            content.tree = readGroup(name);
            if (content.tree.name.empty())
                content.tree.name = groupNameOf(file_);
            finishGroup(content.tree, name, {});
        } else if (name == keys::versionPart && !entry.isFolder()) {
            const FilePlace place = at(name);
            content.version = readVersion(place.parseObject(*parts_.getFileContentSource(name)), place);
        } else if (name == keys::upgradersPart && !entry.isFolder()) {
            if (use_ == FileUse::factory)
                content.upgraders =
                    readUpgraders(at(name).parse(*parts_.getFileContentSource(name)), at(name));
        } else if (name != keys::schemaPart || entry.isFolder()) {
            keepForeign(entry);
        }
    }

    /// Checks the group's name and reads what stands below its folder.
    void finishGroup(GroupRecord& group, const std::u16string& folder, const std::string& parentName) {
        const FilePlace place = at(groupFileIn(folder));
        if (!isAcceptableName(group.name, parentName, parentName.empty()))
            place.refuse(ReadError::name, "$.groupName",
                         "\"" + group.name + "\" cannot be the name of a group");
        const std::string fullName = parentName.empty() ? group.name : parentName + "." + group.name;
        for (const SettingRecord& setting : group.settings)
            if (!isAcceptableName(setting.name, fullName, false))
                place.refuse(ReadError::name, "$.settings", "\"" + setting.name + "\" is too long a name");
        readChildren(group, folder, fullName);
        std::sort(group.groups.begin(), group.groups.end(),
                  [](const GroupRecord& a, const GroupRecord& b) { return a.name < b.name; });
        refuseTwins(group, place);
    }

    /// The folder says which group it is; a name in the group's own part has to agree.
    void nameAfterFolder(GroupRecord& group, const FileSystemEntry& folder) {
        std::string name = groupOfFolder(utf8Of(folder.getName()));
        if (!group.name.empty() && group.name != name)
            at(groupFileIn(folder.getPathName()))
                .refuse(ReadError::name, "$.groupName",
                        "the folder is that of the group \"" + name + "\", not of \"" + group.name + "\"");
        group.name = std::move(name);
    }

    void readChildren(GroupRecord& group, const std::u16string& folder, const std::string& fullName) {
        for (const FileSystemEntry& entry : parts_.getChildren(folder)) {
            const std::u16string& name = entry.getPathName();
            if (!entry.isFolder()) {
                if (name != groupFileIn(folder))
                    keepForeign(entry);
            } else if (parts_.hasEntry(groupFileIn(name))) {
                GroupRecord child = readGroup(name);
                nameAfterFolder(child, entry);
                finishGroup(child, name, fullName);
                group.groups.push_back(std::move(child));
            } else {
                keepForeign(entry);
            }
        }
    }

    static void refuseTwins(const GroupRecord& group, const FilePlace& place) {
        auto setting = group.settings.begin();
        for (auto child = group.groups.begin(); child != group.groups.end(); ++child) {
            if (child != group.groups.begin() && std::prev(child)->name == child->name)
                place.refuse(ReadError::structure, {}, "two groups below are called \"" + child->name + "\"");
            while (setting != group.settings.end() && setting->name < child->name)
                ++setting;
            if (setting != group.settings.end() && setting->name == child->name)
                place.refuse(ReadError::structure, {},
                             "a setting and a group are both called \"" + child->name + "\"");
        }
    }

    void keepForeign(const FileSystemEntry& entry) {
        const std::u16string& name = entry.getPathName();
        if (entry.isFolder()) {
            for (const FileSystemEntry& below : parts_.getChildren(name))
                keepForeign(below);
            return;
        }
        const bool isLostGroup =
            name.starts_with(std::u16string(keys::treeFolder) + u"/") && name.ends_with(keys::groupFile);
        if (isLostGroup)
            at(name).refuse(ReadError::structure, {}, "the group above this one has no part");
        foreign_.push_back({name, parts_.getFileContentSource(name), parts_.getContentType(name)});
    }

    FileSystemManager parts_;
    const std::filesystem::path& file_;
    GroupReader groups_;
    FileUse use_;
    std::vector<ForeignPart> foreign_;
};

} // namespace

std::string groupNameOf(const std::filesystem::path& file) {
    return decodedName(file.stem().string());
}

std::string fileNameOf(std::string_view groupName) {
    return encodedName(groupName) + Settings::settingsExtension;
}

SettingsFileContent readSettingsPackage(opc::model::Package& package, const std::filesystem::path& file,
                                        FileUse use) {
    const bool isEncrypted = FileSystemManager(package).isEncrypted();
    if (isEncrypted)
        decrypt(package, {file, {}});
    SettingsFileContent content = PackageReader(package, file, use).read();
    content.isEncrypted = isEncrypted;
    const auto properties = opc::qfservices::CorePropertiesManager(package).getCoreProperties();
    content.revision = properties.revision;
    content.release = properties.version;
    return content;
}

SettingsFileContent readSettingsFile(const std::filesystem::path& file, FileUse use) {
    auto package = opc::model::Package::open(file);
    return readSettingsPackage(package, file, use);
}

bool holdsDefinitions(const opc::model::Package& package) {
    return FileSystemManager(package).hasEntry(std::u16string(keys::upgradersPart));
}

void requireKind(const opc::model::Package& package, const std::filesystem::path& file, bool definitions) {
    const bool hasDefinitions = holdsDefinitions(package);
    if (hasDefinitions == definitions)
        return;
    const char* rule = hasDefinitions ? "is a factory file: it holds definitions, not the values of a level"
                                      : "is no factory file: it holds values, but no definitions (no part "
                                        "\"/upgraders.json\")";
    FilePlace{file, {}}.refuse(ReadError::structure, {}, rule);
}

std::optional<GroupRecord> readGroupPart(const opc::model::Package& package,
                                         const std::filesystem::path& file, std::u16string_view folder,
                                         FileUse use) {
    PackageReader reader(package, file, use);
    if (!FileSystemManager(package).hasEntry(PackageReader::groupFileIn(folder)))
        return std::nullopt;
    return reader.readGroup(std::u16string(folder));
}

} // namespace settings::core::detail
