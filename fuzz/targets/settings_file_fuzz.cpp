// Settings files from hostile JSON: either the file is refused with a typed error, or what was read makes a
// file that reads back equal, and so does the tree that is built from it.
//
// The input is one byte that chooses how the file is read (f: as a factory file, i: imported, else: values of
// a level), and the texts of four parts, separated by NUL: top group, child group, version record, upgraders.

#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace {

using namespace settings::core;
using namespace settings::core::detail;

const std::filesystem::path file = "/f/g.vksettings";

opc::model::Package packageOf(std::string_view texts) {
    auto package = opc::model::Package::create();
    opc::qfservices::FileSystemManager parts(package);
    for (const char16_t* name : {u"/settingstree/settings.json", u"/settingstree/c/settings.json",
                                 u"/version.json", u"/upgraders.json"}) {
        const std::size_t end = texts.find('\0');
        parts.addFile(name, std::string(texts.substr(0, end)), opc::qfservices::getTextContentType());
        if (end == texts.npos)
            break;
        texts.remove_prefix(end + 1);
    }
    return package;
}

std::optional<SettingsFileContent> read(opc::model::Package package, FileUse use) {
    try {
        return readSettingsPackage(package, file, use);
    } catch (const exception::ErrorReadingSettingsData&) {
        return std::nullopt;
    }
}

void require(bool holds) {
    if (!holds)
        std::abort();
}

bool namesFunctions(const NodeDefinition* definition) {
    return definition != nullptr &&
           (definition->validator.which() != 0 || definition->factoryValueFcn.which() != 0);
}

void requireNoFunctions(const GroupRecord& group) {
    require(!namesFunctions(group.definition.get()));
    for (const SettingRecord& setting : group.settings)
        require(!namesFunctions(setting.definition.get()));
    for (const GroupRecord& child : group.groups)
        requireNoFunctions(child);
}

std::string imageOf(SettingsFileContent& content, LevelIndex level) {
    content.revision = 0;
    return fileImage(content, level, {}).value();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const FileUse use = input[0] == 'f'   ? FileUse::factory
                        : input[0] == 'i' ? FileUse::imported
                                          : FileUse::level;
    const LevelIndex level = use == FileUse::factory ? LevelIndex::factory : LevelIndex::user;
    auto content = read(packageOf(input.substr(1)), use);
    if (!content)
        return 0;
    if (use != FileUse::factory) {
        requireNoFunctions(content->tree);
        require(content->upgraders.empty());
    }
    const std::string image = imageOf(*content, level);
    auto again = read(opc::model::Package::openBytes(image), use);
    require(again.has_value());
    require(imageOf(*again, level) == image);

    // Through a tree: settings of a personal file that hold no value and that no user added leave nothing
    // behind.
    SettingsFileContent built;
    const auto tree = buildTree(std::move(content->tree), {.level = level});
    built.tree = snapshotOf(tree, level);
    built.version = content->version;
    built.upgraders = content->upgraders;
    const std::string fromTree = imageOf(built, level);
    auto last = read(opc::model::Package::openBytes(fromTree), use);
    require(last.has_value());
    const auto rebuilt = buildTree(std::move(last->tree), {.level = level});
    last->tree = snapshotOf(rebuilt, level);
    require(imageOf(*last, level) == fromTree);
    if (level == LevelIndex::factory)
        require(fromTree == image);
    return 0;
}
