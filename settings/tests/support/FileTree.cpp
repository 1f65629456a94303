#include "support/FileTree.hpp"

#include "opc/model/Package.hpp"
#include "opc/qfpackaging/Encryption.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/file/SaveHook.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "varnek/files/PathText.hpp"
#include "json/Parser.hpp"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <stdexcept>

namespace settings::test {

using core::detail::SettingsAccess;
using opc::model::Access;
using opc::model::Package;
using opc::qfservices::FileSystemManager;

FileTree::FileTree(const std::filesystem::path& base, LevelFileKeeper::WriterThread writer) {
    for (const char* name : {"user", "installation"})
        std::filesystem::create_directories(base / name);
    saveInto(boost::make_shared<LevelFileKeeper>(
        [base](LevelIndex level) { return base / std::string(core::levelName(level)); }, writer));
}

void FileTree::saveInto(boost::shared_ptr<LevelFileKeeper> files) {
    keeper = std::move(files);
    core::detail::TreeContext context;
    context.rootIndex = core::DefaultRootIndex();
    context.connected = true;
    context.saves = keeper;
    rootNode = core::detail::SettingsImplRoot::make(std::move(context));
    root = rootNode->getThisObject();
}

void FileTree::load(const Handle& group) const {
    for (const LevelIndex level : {LevelIndex::installation, LevelIndex::user})
        keeper->loadLevel(SettingsAccess::node(*group), level, LevelFileKeeper::Telling::no);
    keeper->followUpgrades(SettingsAccess::node(*group));
}

SavesThroughTheHook::SavesThroughTheHook() {
    // The level folders of this process come from the same variable: have them found first.
    for (const auto& level : core::SettingsLevelManager::getSettingsLevelObjs())
        level.levelRootPath();
    folder_ = std::getenv("SETTINGS_USERDIR");
    ::unsetenv("SETTINGS_USERDIR");
    core::detail::forgetSaveRoute();
}

SavesThroughTheHook::~SavesThroughTheHook() {
    ::setenv("SETTINGS_USERDIR", folder_.c_str(), 1);
    core::detail::forgetSaveRoute();
}

// ---- log ----

namespace {

constexpr std::string_view channels[] = {"settings::core::settingsFile", "settings::core::security"};

std::mutex linesMutex;
std::vector<std::string> lines;

} // namespace

FileLogLines::FileLogLines() {
    for (const std::string_view channel : channels)
        varnek::log::setLevel(channel, varnek::log::Severity::debug);
    before_ =
        varnek::log::setSink([](std::string_view channel, varnek::log::Severity, std::string_view text) {
            const std::lock_guard lock(linesMutex);
            if (std::find(std::begin(channels), std::end(channels), channel) != std::end(channels))
                lines.emplace_back(text);
        });
    take();
}

FileLogLines::~FileLogLines() {
    varnek::log::setSink(before_);
    for (const std::string_view channel : channels)
        varnek::log::setLevel(channel, varnek::log::Severity::off);
}

std::vector<std::string> FileLogLines::take(std::string_view text) {
    const std::lock_guard lock(linesMutex);
    std::vector<std::string> found;
    for (const std::string& line : std::exchange(lines, {}))
        if (line.find(text) != std::string::npos)
            found.push_back(line);
    return found;
}

// ---- packages ----

namespace {

std::u16string wide(const std::string& text) {
    return varnek::files::utf16FromUtf8(text).value();
}

void collect(const FileSystemManager& parts, const std::u16string& folder, std::vector<std::string>& names) {
    for (const auto& entry : parts.getChildren(folder)) {
        if (entry.isFolder())
            collect(parts, entry.getPathName(), names);
        else
            names.push_back(varnek::files::utf8FromUtf16(entry.getPathName()).value());
    }
}

} // namespace

std::vector<std::string> partsOf(const std::filesystem::path& file) {
    const Package package = Package::open(file);
    std::vector<std::string> names;
    collect(FileSystemManager(package), u"/", names);
    return names;
}

std::string partText(const std::filesystem::path& file, const std::string& part) {
    const Package package = Package::open(file);
    return *FileSystemManager(package).getFileContentSource(wide(part));
}

varnek::json::Object partJson(const std::filesystem::path& file, const std::string& part) {
    return varnek::json::parseObject(partText(file, part));
}

const varnek::json::Object& settingIn(const varnek::json::Object& group, std::string_view name) {
    for (const varnek::json::Value& setting : group.at("settings").asArray())
        if (setting.asObject().at("name").asString() == name)
            return setting.asObject();
    throw std::runtime_error("the file has no setting " + std::string(name));
}

void putPart(const std::filesystem::path& file, const std::string& part, const std::string& text) {
    Package package = Package::open(file, Access::readWrite);
    FileSystemManager(package).addFile(wide(part), text, opc::qfservices::getTextContentType());
    package.close();
}

void deletePart(const std::filesystem::path& file, const std::string& part) {
    Package package = Package::open(file, Access::readWrite);
    FileSystemManager(package).deleteFile(wide(part));
    package.close();
}

void encrypt(const std::filesystem::path& file, const std::string& password) {
    Package package = Package::open(file, Access::readWrite);
    opc::qfpackaging::enableEncryptionFromPassword(package, {password});
    package.close();
}

} // namespace settings::test
