#include "settingscore/SettingsFileManager.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/file/FactoryFileManagerImpl.hpp"
#include "settingscore/settings/file/NonFactoryFileManagerImpl.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/WritePermission.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "varnek/files/PathText.hpp"

#include <unistd.h>

#include <stdexcept>

namespace settings::core {

using namespace detail;

namespace {

constexpr const char* toolboxFolder = "toolbox";
constexpr LevelIndex installation = LevelIndex::installation;

std::filesystem::path installationFile(const std::u16string& folder, std::string_view groupName) {
    const SettingsLevel& level = SettingsLevelManager::getSettingsLevelObjs()[position(installation)];
    const auto folderOfLevel = varnek::files::pathFromUtf16(level.levelRootPath());
    const auto found = folderOfLevel / varnek::files::pathFromUtf16(folder);
    const auto file = found / fileNameOf(groupName);
    if (!found.is_absolute() || ::access(found.c_str(), W_OK | X_OK) != 0 ||
        !std::filesystem::is_directory(found))
        throw exception::NoFileWritePermission(
            nullptr, level, {varnek::files::utf16FromPath(file), varnek::files::utf16FromPath(found)});
    if (!mayBeWritten(file))
        throw exception::NoFileWritePermission(nullptr, level, {varnek::files::utf16FromPath(file)});
    return file;
}

} // namespace

SettingsFileManager::SettingsFileManager(std::filesystem::path file,
                                         std::unique_ptr<SettingsFileManagerImpl> impl)
    : file_(std::move(file)), impl_(std::move(impl)) {}

SettingsFileManager::SettingsFileManager(SettingsFileManager&&) noexcept = default;
SettingsFileManager& SettingsFileManager::operator=(SettingsFileManager&&) noexcept = default;
SettingsFileManager::~SettingsFileManager() = default;

SettingsFileManager SettingsFileManager::create(const std::filesystem::path& file, std::string_view level,
                                                bool force, std::string_view groupName) {
    const LevelIndex at = SettingsFileManagerImpl::fileLevel(level);
    auto path = std::filesystem::absolute(file);
    const auto replaced = varnek::files::FileStamp::of(path);
    auto impl = SettingsFileManagerImpl::create(path, at, force, groupName, replaced);
    return {std::move(path), std::move(impl)};
}

SettingsFileManager SettingsFileManager::open(const std::filesystem::path& file, std::string_view level) {
    const LevelIndex at = SettingsFileManagerImpl::fileLevel(level);
    auto path = std::filesystem::absolute(file);
    auto impl = SettingsFileManagerImpl::open(path, at, false);
    return {std::move(path), std::move(impl)};
}

SettingsFileManager SettingsFileManager::open(const std::u16string& folder, std::string_view groupName,
                                              std::string_view level, bool force) {
    const LevelIndex at = SettingsFileManagerImpl::fileLevel(level);
    auto path = std::filesystem::absolute(varnek::files::pathFromUtf16(folder)) / toolboxFolder /
                fileNameOf(groupName);
    auto impl = SettingsFileManagerImpl::open(path, at, force, groupName);
    return {std::move(path), std::move(impl)};
}

SettingsFileManager SettingsFileManager::createOrUpdateInstallationFile(const std::u16string& folder,
                                                                        std::string_view groupName) {
    auto file = installationFile(folder, groupName);
    std::unique_ptr<SettingsFileManagerImpl> impl;
    try {
        impl = SettingsFileManagerImpl::open(file, installation, false, groupName);
    } catch (const exception::FileDoesNotExist&) {
        // It was not there then: whoever makes it from here on is not to be replaced.
        impl = SettingsFileManagerImpl::create(file, installation, false, groupName, {});
    }
    return {std::move(file), std::move(impl)};
}

std::string SettingsFileManager::getLevelName() const {
    return std::string(levelName(impl_->level()));
}

boost::shared_ptr<Settings> SettingsFileManager::getRootNode() const {
    return SettingsAccess::wrap(impl_->rootNode());
}

boost::shared_ptr<Settings> SettingsFileManager::getTopLevelNode() const {
    return SettingsAccess::wrap(impl_->topLevelNode());
}

std::string SettingsFileManager::getFileReleaseVersion() const {
    return impl_->releaseVersion();
}

std::vector<UpgraderRecord> SettingsFileManager::getUpgraders() const {
    const auto* factory = dynamic_cast<const FactoryFileManagerImpl*>(impl_.get());
    return factory == nullptr ? std::vector<UpgraderRecord>() : factory->upgraders();
}

void SettingsFileManager::setUpgraders(std::vector<UpgraderRecord> upgraders) {
    auto* factory = dynamic_cast<FactoryFileManagerImpl*>(impl_.get());
    if (factory == nullptr)
        throw std::invalid_argument("only factory files have upgraders");
    factory->setUpgraders(std::move(upgraders));
}

boost::optional<VersionRecord> SettingsFileManager::getVersionRecord() const {
    const auto* values = dynamic_cast<const NonFactoryFileManagerImpl*>(impl_.get());
    if (values == nullptr || !values->version())
        return boost::none;
    return *values->version();
}

void SettingsFileManager::define(const Settings& group) {
    auto* values = dynamic_cast<NonFactoryFileManagerImpl*>(impl_.get());
    if (values == nullptr)
        throw std::invalid_argument("a factory file has definitions of its own");
    values->define(SettingsAccess::node(group));
}

void SettingsFileManager::save() {
    impl_->save(file_);
}

} // namespace settings::core
