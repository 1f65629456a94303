#include "settingscore/settings/root/SettingsRenamesFile.hpp"

#include "opc/Limits.hpp"
#include "settingscore/FactoryFileLocation.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "json/Parser.hpp"

#include <stdexcept>

namespace settings::core::detail {

namespace json = varnek::json;

namespace {

constexpr const char* renamesFile = "settingsRenames.json";
constexpr std::string_view oldNameKey = "OldName";
constexpr std::string_view newNameKey = "NewName";

[[noreturn]] void refuse() {
    throw std::runtime_error("it holds an array of objects with the texts \"OldName\" and \"NewName\"");
}

std::string textIn(const json::Value& row, std::string_view key) {
    const json::Object* object = row.ifObject();
    const json::Value* text = object == nullptr ? nullptr : object->find(key);
    if (text == nullptr || !text->isString() || text->asString().empty())
        refuse();
    return std::string(text->asString());
}

} // namespace

std::filesystem::path renamesFileOf(const std::filesystem::path& factoryFolder) {
    return locationFileOf(factoryFolder).parent_path() / renamesFile;
}

std::optional<std::vector<SettingsRename>> readSettingsRenames(const std::filesystem::path& factoryFolder) {
    std::string text;
    try {
        text = varnek::files::readFile(renamesFileOf(factoryFolder), opc::limits::partBytes);
    } catch (const varnek::files::FileError& failure) {
        if (failure.kind() == varnek::files::FileErrorKind::notFound)
            return std::nullopt;
        throw;
    }
    const json::Value document = json::parse(text);
    if (!document.isArray())
        refuse();
    std::vector<SettingsRename> rows;
    for (const json::Value& row : document.asArray())
        rows.push_back({textIn(row, oldNameKey), textIn(row, newNameKey)});
    return rows;
}

} // namespace settings::core::detail
