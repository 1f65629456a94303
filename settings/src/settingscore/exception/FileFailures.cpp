#include "settingscore/exception/FileFailures.hpp"

#include "settingscore/exception/MessageText.hpp"
#include "settingscore/level/SettingsLevel.hpp"

#include <boost/make_shared.hpp>

#include <utility>

namespace settings::core::exception {

ErrorLoadingLibrary::ErrorLoadingLibrary(std::string libName, std::u16string systemMessage)
    : libName_(std::move(libName)), systemMessage_(std::move(systemMessage)) {}

ErrorMigratePrefsBetweenReleases::ErrorMigratePrefsBetweenReleases(std::string prevFullRelTag,
                                                                   std::string currFullRelTag)
    : prevFullRelTag_(std::move(prevFullRelTag)), currFullRelTag_(std::move(currFullRelTag)) {}

ErrorMigrateSettingsBetweenReleases::ErrorMigrateSettingsBetweenReleases(std::u16string settingsName,
                                                                         std::u16string detail)
    : settingsName_(std::move(settingsName)), detail_(std::move(detail)) {}

ErrorReadingSettingsData::ErrorReadingSettingsData(ErrorCode errorCode, std::u16string detail)
    : Cloneable("Value of settings could not be read. Error code: " +
                std::to_string(static_cast<std::int32_t>(errorCode)) +
                ". More details: " + detail::utf8(detail)),
      errorCode_(errorCode), detail_(std::move(detail)) {}
ErrorReadingSettingsData::~ErrorReadingSettingsData() = default;

ErrorSaveSettingsDueToFileIOError::ErrorSaveSettingsDueToFileIOError(ObjectHandle object,
                                                                     std::u16string fileName)
    : Cloneable(std::move(object)), fileName_(std::move(fileName)) {}

ErrorWriteToTempSettingsFile::ErrorWriteToTempSettingsFile(ObjectHandle object, std::u16string tempFilePath,
                                                           std::int32_t errorNum, std::u16string detail)
    : Cloneable(std::move(object)), tempFilePath_(std::move(tempFilePath)), errorNum_(errorNum),
      detail_(std::move(detail)) {}

NoFileWritePermission::NoFileWritePermission(boost::shared_ptr<Settings> causingObject,
                                             const SettingsLevel& level, std::vector<std::u16string> paths)
    : causingObject_(std::move(causingObject)), level_(boost::make_shared<SettingsLevel>(level)),
      paths_(std::move(paths)) {}
std::string NoFileWritePermission::getLevelName() const {
    return std::string(level_->levelName());
}

RelativePreferencePathNotSupported::RelativePreferencePathNotSupported(std::u16string prefdirLocation)
    : prefdirLocation_(std::move(prefdirLocation)),
      errorMessage_("Unable to start VARNEK. Relative path for preferences directory ('" +
                    detail::utf8(*prefdirLocation_) + "') is not supported") {}

FileCannotBeOpened::FileCannotBeOpened(std::u16string filePath, std::string levelName, std::u16string cause)
    : filePath_(std::move(filePath)), levelName_(std::move(levelName)), cause_(std::move(cause)) {}

FileDoesNotExist::FileDoesNotExist(std::u16string filePath) : filePath_(std::move(filePath)) {}

PackageCannotBeOpened::PackageCannotBeOpened(std::u16string filePath, std::u16string cause)
    : Cloneable("Failed to open OPC Package" + (cause.empty() ? "" : "; Error: " + detail::utf8(cause))),
      filePath_(std::move(filePath)), cause_(std::move(cause)) {}
PackageCannotBeOpened::~PackageCannotBeOpened() = default;

SettingsFileNotWritten::SettingsFileNotWritten(std::u16string filePath, std::u16string cause)
    : Cloneable("Failed to write settings file; Error: " + detail::utf8(cause)),
      filePath_(std::move(filePath)), cause_(std::move(cause)) {}
SettingsFileNotWritten::~SettingsFileNotWritten() = default;

namespace {

// One text for both.
constexpr const char* missingFileText = "Requested file does not exist.";

} // namespace

const char* ErrorLoadingLibrary::what() const noexcept {
    return "Error loading the library, please refer to error message for reasons.";
}
const char* ErrorMigratePrefsBetweenReleases::what() const noexcept {
    return "Error copying the files from the previous release prefdir to the current release prefdir.";
}
const char* ErrorMigrateSettingsBetweenReleases::what() const noexcept {
    return "Error migrating settings from previous release to the current release.";
}
const char* ErrorSaveSettingsDueToFileIOError::what() const noexcept {
    return "Failed to open a file stream for write.";
}
const char* ErrorWriteToTempSettingsFile::what() const noexcept {
    return "Cannot open a temp file to save the Settings object. "
           "It could be due to out of file handle or other reasons.";
}
const char* NoFileWritePermission::what() const noexcept {
    return "Cannot write to the level specified. You may not have write permission on that level.";
}
const char* RelativePreferencePathNotSupported::what() const noexcept {
    return "Unable to start VARNEK. The preference folder path must be an absolute path.";
}
const char* FileCannotBeOpened::what() const noexcept {
    return missingFileText;
}
const char* FileDoesNotExist::what() const noexcept {
    return missingFileText;
}

} // namespace settings::core::exception
