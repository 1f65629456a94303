#include "opc/model/Package.hpp"

#include "opc/Limits.hpp"
#include "opc/PackageData.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"

namespace opc::model {
namespace {

using varnek::files::FileError;
using varnek::files::FileErrorKind;

ErrorKind kindOf(FileErrorKind kind) {
    switch (kind) {
    case FileErrorKind::notFound:
        return ErrorKind::notFound;
    case FileErrorKind::permission:
        return ErrorKind::permission;
    case FileErrorKind::tooLarge:
        return ErrorKind::limitExceeded;
    case FileErrorKind::notRegularFile:
    case FileErrorKind::linkLeavesFolder:
        return ErrorKind::notRegularFile;
    default:
        return ErrorKind::ioFault;
    }
}

std::string readArchiveFile(const std::filesystem::path& path) {
    try {
        return varnek::files::readFile(path, limits::archiveBytes);
    } catch (const FileError& error) {
        throw OpenError(kindOf(error.kind()), path, {}, error.what());
    }
}

std::shared_ptr<detail::PackageData> read(std::string_view bytes, const std::filesystem::path& path) {
    auto data = std::make_shared<detail::PackageData>();
    data->path = path;
    detail::atBorder<OpenError>(path, [&] { detail::readPackage(*data, bytes); });
    return data;
}

} // namespace

Package::Package(std::shared_ptr<detail::PackageData> data) noexcept : data_(std::move(data)) {}
Package::Package(Package&&) noexcept = default;
Package& Package::operator=(Package&&) noexcept = default;
Package::~Package() = default;

Package Package::create() {
    return Package(std::make_shared<detail::PackageData>());
}

Package Package::create(const std::filesystem::path& path) {
    Package package = create();
    package.data_->path = path;
    package.data_->writable = true;
    return package;
}

Package Package::open(const std::filesystem::path& path, Access access) {
    Package package(read(readArchiveFile(path), path));
    if (access == Access::readWrite) {
        package.data_->writable = true;
        package.data_->asOpened = package.data_->content;
    }
    return package;
}

Package Package::openBytes(std::string_view bytes, const std::filesystem::path& origin) {
    return Package(read(bytes, origin));
}

std::string Package::toBytes() const {
    const auto& data = detail::openData(*this);
    return detail::atBorder<WriteError>(data->path, [&] { return detail::packPackage(*data); });
}

void Package::close(const varnek::files::ReplacementOptions& options) {
    if (!isOpen())
        return;
    const bool unchanged = data_->asOpened && data_->password.empty() &&
                           (data_->sealed || detail::sameContent(*data_->asOpened, data_->content));
    if (data_->writable && !unchanged)
        varnek::files::replaceFile(data_->path, toBytes(), options);
    data_->open = false;
    data_->content = {};
    data_->asOpened.reset();
    data_->archive.reset();
    data_->password = detail::Secret();
}

bool Package::isOpen() const noexcept {
    return data_ && data_->open;
}

const std::filesystem::path& Package::path() const {
    return data_->path;
}

bool sameContent(const Package& a, const Package& b) {
    for (const Package* package : {&a, &b})
        if (const auto& data = detail::openData(*package); data->sealed)
            throw OpenError(ErrorKind::noPassword, data->path, {}, "the package is encrypted");
    return detail::sameContent(a.data()->content, b.data()->content);
}

} // namespace opc::model
