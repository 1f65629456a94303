/// Making the preferences directory, and what its failures are called.
#pragma once

#include "settingscore/prefdir/PreferencesDirectory.hpp"
#include "varnek/files/NewFolder.hpp"

#include <exception>
#include <filesystem>
#include <functional>
#include <string>

namespace settings::core::detail {

/// How it ended. Logged: never renumber.
enum class CreationCode : int {
    createdNow = 1,
    alreadyThere = 2,
    invalidArgument = -1,           // EINVAL, an empty path
    fileNameTooLarge = 0,           // ENAMETOOLONG
    pathNotFound = -2,              // ENOENT: a folder above it is missing and cannot be made
    systemError = -3,               // any other error that the system reports
    fileNameConversionFailure = -4, // EILSEQ, a name that no file can have
    badAlloc = -5,                  // ENOMEM, std::bad_alloc
    defaultError = -6,              // a failure of the file-system layer without an error of the system
    other = 3,                      // a failure of something else
};

struct CreationOutcome {
    CreationCode code = CreationCode::other;
    std::string reason; // in the words of the file-system layer, which may have none

    bool hasDirectory() const {
        return code == CreationCode::createdNow || code == CreationCode::alreadyThere;
    }
};

/// The code of a failure.
CreationOutcome creationFailure(std::exception_ptr failure);

/// Makes the folders above `directory`, lets `fill` put files into it, and puts it in its place as a whole. A
/// failure to make it is an outcome; what `fill` throws passes through, and no directory is made. One that
/// another process has put there meanwhile stays: alreadyThere, whatever became of the fill. What is in the
/// place and no directory is a failure, before anything is filled.
CreationOutcome createDirectory(const std::filesystem::path& directory,
                                const std::function<void(varnek::files::NewFolder&)>& fill);

/// Why a temporary folder stands for `directory`. "no message when trying to create prefdir" where the
/// failure has no words.
TempMessage tempMessageFor(const CreationOutcome& failure, const std::filesystem::path& directory,
                           const std::filesystem::path& temporaryFolder);

} // namespace settings::core::detail
