#include "settingscore/settings/prefdir/DirectoryCreation.hpp"

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/settings/prefdir/PrefdirLog.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/files/PathText.hpp"

#include <cerrno>
#include <new>
#include <optional>
#include <sys/stat.h>
#include <system_error>

namespace settings::core::detail {

namespace files = varnek::files;
namespace messages = VARNEK::settings::prefdir;

namespace {

constexpr const char* noMessage = "no message when trying to create prefdir";

CreationCode codeOf(int systemError) {
    switch (systemError) {
    case 0:
        return CreationCode::defaultError;
    case EINVAL:
        return CreationCode::invalidArgument;
    case ENAMETOOLONG:
        return CreationCode::fileNameTooLarge;
    case ENOENT:
        return CreationCode::pathNotFound;
    case EILSEQ:
        return CreationCode::fileNameConversionFailure;
    case ENOMEM:
        return CreationCode::badAlloc;
    default:
        return CreationCode::systemError;
    }
}

/// Nothing, or how it failed.
template <class Step>
std::optional<CreationOutcome> failureOf(Step step) {
    try {
        step();
        return std::nullopt;
    } catch (...) {
        return creationFailure(std::current_exception());
    }
}

bool publish(files::NewFolder& folder) {
    try {
        return folder.publish();
    } catch (const files::FileError& failure) {
        if (failure.kind() != files::FileErrorKind::folderFlushFailed)
            throw;
        PrefdirLine(varnek::log::Severity::warning)
            << failure.what() << "; the directory is in place all the same";
        return true;
    }
}

/// Of what others have put in the place.
CreationOutcome somethingThere(const std::filesystem::path& directory) {
    std::error_code ignored;
    if (std::filesystem::is_directory(directory, ignored))
        return {CreationCode::alreadyThere, {}};
    return creationFailure(std::make_exception_ptr(
        files::FileError(files::FileErrorKind::notFolder, "create folder", directory, ENOTDIR)));
}

varnek::catalogue::Argument shown(const std::filesystem::path& path) {
    return files::shownName(path.native());
}

/// What is said of each kind of failure.
varnek::catalogue::UntypedMessageException messageOf(const CreationOutcome& failure,
                                                     const std::filesystem::path& directory) {
    const auto path = shown(directory);
    const auto of = [](const varnek::catalogue::CatalogueException& message) {
        return varnek::catalogue::UntypedMessageException(message.component(), message.key(),
                                                          message.arguments());
    };
    switch (failure.code) {
    case CreationCode::invalidArgument:
        return of(messages::InvalidArgument(path));
    case CreationCode::fileNameTooLarge:
        return of(messages::FileNameTooLarge(path));
    case CreationCode::pathNotFound:
        return of(messages::PathNotFound(path));
    case CreationCode::systemError:
        return of(messages::SystemError(path, failure.reason));
    case CreationCode::fileNameConversionFailure:
        return of(messages::FileNameConversionFailure(path));
    case CreationCode::badAlloc:
        return of(messages::BadAlloc(path));
    default:
        return of(messages::DefaultError(path));
    }
}

} // namespace

CreationOutcome creationFailure(std::exception_ptr failure) {
    try {
        std::rethrow_exception(std::move(failure));
    } catch (const files::FileError& error) {
        const bool isName = error.kind() == files::FileErrorKind::invalidName;
        return {isName ? CreationCode::fileNameConversionFailure : codeOf(error.errorNumber()), error.what()};
    } catch (const std::system_error& error) {
        const bool isOfSystem = error.code().category() == std::system_category() ||
                                error.code().category() == std::generic_category();
        return {codeOf(isOfSystem ? error.code().value() : 0), error.what()};
    } catch (const std::bad_alloc& error) {
        return {CreationCode::badAlloc, error.what()};
    } catch (const std::exception& error) {
        return {CreationCode::other, error.what()};
    } catch (...) {
        return {CreationCode::other, {}};
    }
}

CreationOutcome createDirectory(const std::filesystem::path& directory,
                                const std::function<void(files::NewFolder&)>& fill) {
    if (directory.empty())
        return {CreationCode::invalidArgument, "the path is empty"};
    std::optional<files::NewFolder> folder;
    if (auto failure = failureOf([&] {
            files::createFolders(directory.parent_path());
            folder.emplace(directory);
        }))
        return *std::move(failure);
    struct stat status;
    if (::lstat(directory.c_str(), &status) == 0)
        return somethingThere(directory);
    try {
        fill(*folder);
    } catch (const std::exception& failure) { // moot where others have made it meanwhile
        const CreationOutcome outcome = somethingThere(directory);
        if (!outcome.hasDirectory())
            throw;
        PrefdirLine(varnek::log::Severity::info)
            << "not filled, another process was first: " << failure.what();
        return outcome;
    }
    bool isOurs = false;
    if (auto failure = failureOf([&] { isOurs = publish(*folder); }))
        return *std::move(failure);
    return isOurs ? CreationOutcome{CreationCode::createdNow, {}} : somethingThere(directory);
}

TempMessage tempMessageFor(const CreationOutcome& failure, const std::filesystem::path& directory,
                           const std::filesystem::path& temporaryFolder) {
    const auto message = messageOf(failure, directory);
    const messages::CreateTempPrefdirErrorSuffix suffix(shown(temporaryFolder));
    const std::string reason = failure.reason.empty() ? noMessage : message.what();
    return {message.identifier(), files::messageUtf16(reason + " " + suffix.what())};
}

} // namespace settings::core::detail
