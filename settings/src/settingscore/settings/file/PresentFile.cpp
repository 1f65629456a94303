#include "settingscore/settings/file/PresentFile.hpp"

#include "opc/PackageError.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/Folder.hpp"

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
        present.message = failure.what();
    }
    return present;
}

std::filesystem::path placeAside(const std::filesystem::path& file) {
    std::filesystem::path aside = file;
    return aside += ".damaged";
}

void keepAside(const std::filesystem::path& file) {
    std::filesystem::path link = file;
    link += ".damaged.new";
    std::error_code error;
    std::filesystem::remove(link, error);
    std::filesystem::create_hard_link(file, link, error);
    if (error) { // a file system without links
        setAside(file);
        return;
    }
    std::filesystem::rename(link, placeAside(file));
    VARNEK_LOG(fileLog, warning) << "damaged settings file set aside: " << placeAside(file).string();
}

void setAside(const std::filesystem::path& file) {
    const std::filesystem::path aside = placeAside(file);
    std::error_code error;
    std::filesystem::rename(file, aside, error);
    if (error)
        throw varnek::files::FileError(varnek::files::FileErrorKind::renameFailed, "set aside", file,
                                       error.value());
    varnek::files::flushFolder(file.parent_path());
    VARNEK_LOG(fileLog, warning) << "damaged settings file set aside: " << aside.string();
}

} // namespace settings::core::detail
