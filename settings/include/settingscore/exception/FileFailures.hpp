/// Failures of files, libraries and the change of release. Paths are UTF-16, as everywhere in the interface.
#pragma once

#include "settingscore/exception/FailureShapes.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace settings::core {

class SettingsLevel;

namespace exception {

/// A plug-in library cannot be loaded.
class SETTINGSCORE_EXPORT ErrorLoadingLibrary : public Cloneable<ErrorLoadingLibrary, SettingsException> {
  public:
    ErrorLoadingLibrary(std::string libName, std::u16string systemMessage);
    const char* what() const noexcept override;
    std::string getLibName() const { return *libName_; }
    /// The loader's own words.
    std::u16string getSystemMessage() const { return *systemMessage_; }

  private:
    SharedField<std::string> libName_;
    SharedField<std::u16string> systemMessage_;
};

/// The files of an earlier release's preferences directory were not copied.
class SETTINGSCORE_EXPORT ErrorMigratePrefsBetweenReleases
    : public Cloneable<ErrorMigratePrefsBetweenReleases, SettingsException> {
  public:
    ErrorMigratePrefsBetweenReleases(std::string prevFullRelTag, std::string currFullRelTag);
    const char* what() const noexcept override;
    std::string getPrevFullRelTag() const { return *prevFullRelTag_; }
    std::string getCurrFullRelTag() const { return *currFullRelTag_; }

  private:
    SharedField<std::string> prevFullRelTag_;
    SharedField<std::string> currFullRelTag_;
};

/// Settings of an earlier release were not taken over.
class SETTINGSCORE_EXPORT ErrorMigrateSettingsBetweenReleases
    : public Cloneable<ErrorMigrateSettingsBetweenReleases, SettingsException> {
  public:
    ErrorMigrateSettingsBetweenReleases(std::u16string settingsName, std::u16string detail);
    const char* what() const noexcept override;
    std::u16string getSettingsName() const { return *settingsName_; }
    std::u16string getDetail() const { return *detail_; }

  private:
    SharedField<std::u16string> settingsName_;
    SharedField<std::u16string> detail_;
};

/// A settings file, or a value in it, cannot be understood.
class SETTINGSCORE_EXPORT ErrorReadingSettingsData
    : public Cloneable<ErrorReadingSettingsData, detail::BuiltTextFailure> {
  public:
    /// What the readers found. Shown to users and listed in docs/file-format.md: never renumber.
    enum class ErrorCode : std::int32_t {
        open = -1,             ///< the file cannot be opened or is none that may be read
        limits = -2,           ///< larger, or more parts, than the reader takes
        structure = -3,        ///< the package or a part is not built as a settings file
        checksum = -4,         ///< a part does not match its checksum
        encrypted = -5,        ///< encrypted, and no key opens it
        jsonSyntax = -6,       ///< a part is no JSON text
        jsonDepth = -7,        ///< JSON nested deeper than the reader takes
        duplicateKey = -8,     ///< a JSON object names a member twice
        numberRange = -9,      ///< a number that its type cannot hold
        encoding = -10,        ///< a text that is not valid UTF-8, or begins with a byte-order mark
        type = -11,            ///< a member or value of a wrong or unknown type
        name = -12,            ///< a name that no node or part may have
        className = -13,       ///< a typed value of a class that is not known
        elementKind = -14,     ///< an element that the class of its value does not take
        shape = -15,           ///< nested arrays of a value that do not make a regular shape
        objectStart = -20,     ///< an object was due, and the text does not begin with "{"
        memberSeparator = -21, ///< a member of an object followed by neither "," nor "}"
        earlyEnd = -22,        ///< the text ends before the value does
        trailingText = -23,    ///< something follows the value
    };

    ErrorReadingSettingsData(ErrorCode errorCode, std::u16string detail);
    ~ErrorReadingSettingsData() override;
    ErrorCode getErrorCode() const { return errorCode_; }
    std::u16string getDetail() const { return *detail_; }

  private:
    ErrorCode errorCode_;
    SharedField<std::u16string> detail_;
};

/// A settings file cannot be written in place.
class SETTINGSCORE_EXPORT ErrorSaveSettingsDueToFileIOError
    : public Cloneable<ErrorSaveSettingsDueToFileIOError, detail::CausingObjectFailure> {
  public:
    ErrorSaveSettingsDueToFileIOError(ObjectHandle object, std::u16string fileName);
    const char* what() const noexcept override;
    std::u16string getFileName() const { return *fileName_; }

  private:
    SharedField<std::u16string> fileName_;
};

/// The temporary copy of a settings file was not written; the real file is as it was.
class SETTINGSCORE_EXPORT ErrorWriteToTempSettingsFile
    : public Cloneable<ErrorWriteToTempSettingsFile, detail::CausingObjectFailure> {
  public:
    /// `errorNum` is the system's error number, 0 when the system reported none.
    ErrorWriteToTempSettingsFile(ObjectHandle object, std::u16string tempFilePath, std::int32_t errorNum,
                                 std::u16string detail);
    const char* what() const noexcept override;
    std::int32_t getErrorNum() const { return errorNum_; }
    std::u16string getTempFilePath() const { return *tempFilePath_; }
    std::u16string getDetail() const { return *detail_; }

  private:
    SharedField<std::u16string> tempFilePath_;
    std::int32_t errorNum_;
    SharedField<std::u16string> detail_;
};

/// The files of that level cannot be written.
class SETTINGSCORE_EXPORT NoFileWritePermission : public Cloneable<NoFileWritePermission, SettingsException> {
  public:
    /// `paths`: the files and folders that refused. The level is copied.
    NoFileWritePermission(boost::shared_ptr<Settings> causingObject, const SettingsLevel& level,
                          std::vector<std::u16string> paths);
    const char* what() const noexcept override;
    boost::shared_ptr<Settings> getCausingObject() const { return causingObject_; }
    std::string getLevelName() const;
    boost::shared_ptr<const SettingsLevel> getLevel() const { return level_; }
    std::vector<std::u16string> getPaths() const { return *paths_; }

  private:
    boost::shared_ptr<Settings> causingObject_;
    boost::shared_ptr<const SettingsLevel> level_;
    SharedField<std::vector<std::u16string>> paths_;
};

/// The preferences directory was given as a relative path.
class SETTINGSCORE_EXPORT RelativePreferencePathNotSupported
    : public Cloneable<RelativePreferencePathNotSupported, SettingsException> {
  public:
    explicit RelativePreferencePathNotSupported(std::u16string prefdirLocation);
    const char* what() const noexcept override;
    std::u16string getPrefdirLocation() const { return *prefdirLocation_; }
    /// A sentence with the path; what() has none. UTF-8.
    std::string getErrorMessage() const { return *errorMessage_; }

  private:
    SharedField<std::u16string> prefdirLocation_;
    SharedField<std::string> errorMessage_;
};

/// A settings file is there but cannot be opened. Its text is that of FileDoesNotExist.
class SETTINGSCORE_EXPORT FileCannotBeOpened : public Cloneable<FileCannotBeOpened, SettingsException> {
  public:
    FileCannotBeOpened(std::u16string filePath, std::string levelName, std::u16string cause = {});
    const char* what() const noexcept override;
    std::u16string getFilePath() const { return *filePath_; }
    std::string getLevelName() const { return *levelName_; }
    /// Why not, where it is known.
    std::u16string getCause() const { return *cause_; }

  private:
    SharedField<std::u16string> filePath_;
    SharedField<std::string> levelName_;
    SharedField<std::u16string> cause_;
};

/// A settings file is not there.
class SETTINGSCORE_EXPORT FileDoesNotExist : public Cloneable<FileDoesNotExist, SettingsException> {
  public:
    explicit FileDoesNotExist(std::u16string filePath);
    const char* what() const noexcept override;
    std::u16string getFilePath() const { return *filePath_; }

  private:
    SharedField<std::u16string> filePath_;
};

/// A file is no package, or a damaged one: "Failed to open OPC Package", then "; Error: " and the cause if
/// known.
class SETTINGSCORE_EXPORT PackageCannotBeOpened
    : public Cloneable<PackageCannotBeOpened, detail::BuiltTextFailure> {
  public:
    explicit PackageCannotBeOpened(std::u16string filePath, std::u16string cause = {});
    ~PackageCannotBeOpened() override;
    std::u16string getFilePath() const { return *filePath_; }
    std::u16string getCause() const { return *cause_; }

  private:
    SharedField<std::u16string> filePath_;
    SharedField<std::u16string> cause_;
};

/// A settings file was not written: "Failed to write settings file; Error: " and the cause.
class SETTINGSCORE_EXPORT SettingsFileNotWritten
    : public Cloneable<SettingsFileNotWritten, detail::BuiltTextFailure> {
  public:
    /// Without a cause it is "Unknown".
    explicit SettingsFileNotWritten(std::u16string filePath, std::u16string cause = u"Unknown");
    ~SettingsFileNotWritten() override;
    std::u16string getFilePath() const { return *filePath_; }
    std::u16string getCause() const { return *cause_; }

  private:
    SharedField<std::u16string> filePath_;
    SharedField<std::u16string> cause_;
};

} // namespace exception
} // namespace settings::core
