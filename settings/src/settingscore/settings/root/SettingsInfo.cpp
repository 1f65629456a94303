#include "settingscore/settings/root/SettingsInfo.hpp"

#include "opc/Limits.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/settings/root/LoadProblems.hpp"
#include "settingscore/settings/root/RootLog.hpp"
#include "varnek/files/FileAccess.hpp"
#include "json/Parser.hpp"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <stdexcept>

namespace settings::core::detail {

namespace {

namespace json = varnek::json;

constexpr std::string_view folderOfToolboxes = "varnek/settings/toolboxes";
constexpr std::string_view infoFile = "settingsInfo.json";

std::string text(const json::Object& info, std::string_view key, bool isRequired) {
    const json::Value* value = info.find(key);
    if (value == nullptr && !isRequired)
        return {};
    if (value == nullptr || !value->isString() || value->asString().empty())
        throw std::runtime_error("the text \"" + std::string(key) + "\" is missing or empty");
    return std::string(value->asString());
}

SettingsInfo read(const std::filesystem::path& file) {
    const json::Object object = json::parseObject(varnek::files::readFile(file, opc::limits::partBytes));
    SettingsInfo info;
    info.file = file;
    info.toolboxGroupName = text(object, "ToolboxGroupName", true);
    info.factoryFile = file.parent_path() / text(object, "FactoryFileName", true);
    info.className = text(object, "ClassName", false);
    if (const json::Value* hidden = object.find("Hidden")) {
        if (hidden->kind() != json::Kind::boolean)
            throw std::runtime_error("\"Hidden\" is true or false");
        info.isHidden = hidden->asBool();
    }
    return info;
}

/// The first one stays, as with services and loaders.
void requireNew(const SettingsInfo& info, const std::vector<SettingsInfo>& known) {
    for (const SettingsInfo& other : known)
        if (other.toolboxGroupName == info.toolboxGroupName)
            throw std::runtime_error("the toolbox \"" + info.toolboxGroupName + "\" is described by " +
                                     other.file.string() + " already");
}

std::vector<std::filesystem::path> infoFiles(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code failure;
    for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        std::error_code ignored;
        if (std::filesystem::is_regular_file(entry->path() / infoFile, ignored))
            files.push_back(entry->path() / infoFile);
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

bool SettingsInfo::isOfFile() const {
    return factoryFile.extension() == Settings::settingsExtension;
}

void SettingsInfo::enter(ToolboxSources& sources) const {
    if (isOfFile())
        return sources.addFactoryFile(toolboxGroupName, {factoryFile});
    sources.setDefinition(boost::make_shared<ClassDefFactorySettingsDefinition>(
        FactorySettingsCode{factoryFile, className, toolboxGroupName, !isHidden}, file));
}

std::vector<SettingsInfo> readSettingsInfos(const std::filesystem::path& factoryFolder,
                                            LoadProblems& problems) {
    std::vector<SettingsInfo> infos;
    for (const std::filesystem::path& file : infoFiles(factoryFolder / folderOfToolboxes))
        try {
            SettingsInfo info = read(file);
            requireNew(info, infos);
            infos.push_back(std::move(info));
        } catch (const std::exception& failure) {
            VARNEK_LOG(rootLog, error) << "Exception caught: " << file.string() << ": " << failure.what();
            problems.add("", {file.string(), failure.what()});
        }
    return infos;
}

} // namespace settings::core::detail
