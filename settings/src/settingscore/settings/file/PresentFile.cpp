#include "settingscore/settings/file/PresentFile.hpp"

#include "opc/PackageError.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/Folder.hpp"

#include <limits>
#include <system_error>

namespace settings::core::detail {

PresentFile PresentFile::at(const std::filesystem::path& file) {
    PresentFile present;
    try {
        present.package = opc::model::Package::open(file);
        present.revision =
            opc::qfservices::CorePropertiesManager(*present.package).getCoreProperties().revision;
        const bool isEncrypted = opc::qfservices::FileSystemManager(*present.package).isEncrypted();
        present.state = isEncrypted ? State::encrypted : State::plain;
    } catch (const opc::OpenError& failure) {
        if (failure.kind() == opc::ErrorKind::notFound)
            return present;
        present.state = failure.isPassing() ? State::unreadable : State::damaged;
        present.message = causeOf(failure);
    }
    return present;
}

namespace {

void logAside(const std::filesystem::path& aside) {
    VARNEK_LOG(fileLog, warning) << "damaged settings file set aside: " << aside.string();
}

/// "<name>.damaged", "<name>.damaged-2", …: the first that is free, or that is this file already, from a save
/// that failed later on.
std::filesystem::path placeAside(const std::filesystem::path& file) {
    std::error_code ignored;
    for (unsigned number = 1;; ++number) {
        std::filesystem::path aside = file;
        aside += number == 1 ? ".damaged" : ".damaged-" + std::to_string(number);
        const bool isFree = !std::filesystem::exists(std::filesystem::symlink_status(aside, ignored));
        if (isFree || std::filesystem::equivalent(file, aside, ignored))
            return aside;
    }
}

} // namespace

void keepAside(const std::filesystem::path& file) {
    std::error_code error;
    const std::filesystem::path behindLinks = std::filesystem::canonical(file, error);
    if (error)
        return; // there is nothing
    for (;;) {
        const std::filesystem::path aside = placeAside(file);
        if (std::filesystem::equivalent(file, aside, error))
            return;
        std::filesystem::create_hard_link(behindLinks, aside, error);
        if (error == std::errc::file_exists)
            continue; // somebody else has taken the name
        if (error)    // a file system without links, another one behind the link, or a file of somebody else
            varnek::files::copyFile(behindLinks, aside, std::numeric_limits<std::uint64_t>::max(), {});
        logAside(aside);
        return;
    }
}

void setAside(const std::filesystem::path& file) {
    const std::filesystem::path aside = placeAside(file);
    std::error_code error;
    std::filesystem::rename(file, aside, error);
    if (error)
        throw varnek::files::FileError(varnek::files::FileErrorKind::renameFailed, "set aside", file,
                                       error.value());
    varnek::files::flushFolder(file.parent_path());
    logAside(aside);
}

} // namespace settings::core::detail
