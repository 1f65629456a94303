/// The typed failure of every operation on files and folders.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace varnek::files {

/// What went wrong. Logged and compared across releases: never renumber.
enum class FileErrorKind : std::uint8_t {
    notFound = 0,                       // the file, or the folder it should be in, does not exist
    permission = 1,                     // the system denies access
    notRegularFile = 2,                 // folder, device, pipe or socket in the place of a file
    notFolder = 3,                      // something else in the place of a folder
    linkLeavesFolder = 4,               // symbolic link that does not end in its own folder
    tooLarge = 5,                       // more bytes than the caller allows
    invalidName = 6,                    // name that no file can have, or text that is no name
    openFailed = 7,                     // any other failure to open
    readFailed = 8,                     // reading stopped half way
    cannotCreateTemporaryDirectory = 9, // no directory for the new content
    directoryNotWritable = 10,          // the folder does not allow new entries
    writeFailed = 11,                   // no space, quota, input/output error
    flushFailed = 12,                   // the content may not have reached the disk
    closeFailed = 13,                   // reported late by a network file system
    renameFailed = 14,                  // the new content could not take its place
    folderFlushFailed = 15,             // the new content stands, but may be lost with the power
    removeFailed = 16,
    cannotCreateFolder = 17,
};

/// Immutable. what() reads `cannot <operation> "<path>": <cause>` with the system's text as cause; the path
/// is shown as shownName does.
class VARNEK_EXPORT FileError : public exception::Cloneable<FileError, exception::Exception> {
  public:
    /// `operation` is a verb phrase ("read file"); `errorNumber` is an errno value or 0, when `cause` alone
    /// tells why.
    FileError(FileErrorKind kind, std::string_view operation, const std::filesystem::path& path,
              int errorNumber, std::string_view cause = {});

    const char* what() const noexcept override { return data_->text.c_str(); }
    FileErrorKind kind() const noexcept { return data_->kind; }
    const std::filesystem::path& path() const noexcept { return data_->path; }
    /// 0 when the failure was not reported by the system.
    int errorNumber() const noexcept { return data_->errorNumber; }

  private:
    struct Data {
        FileErrorKind kind;
        int errorNumber;
        std::filesystem::path path;
        std::string text;
    };
    std::shared_ptr<const Data> data_;
};

} // namespace varnek::files
