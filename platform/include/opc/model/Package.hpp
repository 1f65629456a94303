/// An OPC package (ECMA-376 part 2): named parts with content types in a zip archive.
///
///     auto package = opc::model::Package::open(path, opc::model::Access::readWrite);
///     opc::qfservices::FileSystemManager files(package);
///     files.addFile(u"/version.json", text, opc::qfservices::getTextContentType());
///     package.close(); // commits
///
/// The archive is checked and unpacked as a whole when it is opened: either every part can be had, or opening
/// fails. Equal packages have equal bytes (entries sorted, fixed times), unless they are encrypted.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/files/FileReplacement.hpp"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace opc {

namespace detail {
struct PackageData;
}

namespace model {

enum class Access : bool { readOnly = false, readWrite = true };

/// An open package: an object in memory, worked on through the managers in opc/qfservices. Movable handle to
/// one state, externally synchronised. The destructor discards what was not committed by close.
class VARNEK_EXPORT Package {
  public:
    /// A new, empty package in memory.
    static Package create();
    /// A new, empty package that close() writes to `path`, where it replaces what is there by then.
    static Package create(const std::filesystem::path& path);
    /// Reads and checks a file. Throws OpenError; nothing is kept of a file that fails. An encrypted package
    /// opens, but its contents cannot be had before enableDecryptionFromPassword.
    static Package open(const std::filesystem::path& path, Access access = Access::readOnly);
    /// The same for bytes in memory; `origin` is only named in errors.
    static Package openBytes(std::string_view bytes, const std::filesystem::path& origin = {});

    Package(Package&&) noexcept;
    Package& operator=(Package&&) noexcept;
    ~Package();

    /// The archive. Throws WriteError, among others for a package that was opened encrypted and has not been
    /// given a password for writing: contents that were secret do not turn plain by accident.
    std::string toBytes() const;

    /// Ends the work. A package for writing at a path is committed: nothing is written when it is as it was
    /// opened, else the file is replaced durably (varnek::files::replaceFile). Throws WriteError before the
    /// file is touched and varnek::files::FileError; the package then stays open and the file is as it was,
    /// except for the kind folderFlushFailed: the new content stands then, and may be lost with the power.
    /// Closing twice does nothing. Every other operation on a closed package throws std::logic_error.
    void close(const varnek::files::ReplacementOptions& options = {});

    bool isOpen() const noexcept;
    /// Where the package came from or goes to; empty for one in memory.
    const std::filesystem::path& path() const;

    /// For the managers.
    const std::shared_ptr<detail::PackageData>& data() const noexcept { return data_; }

  private:
    explicit Package(std::shared_ptr<detail::PackageData> data) noexcept;
    std::shared_ptr<detail::PackageData> data_;
};

/// Whether two packages say the same apart from the revision number: parts with their bytes and content
/// types, relationships, core properties. Both must be open and decrypted, else OpenError (noPassword).
VARNEK_EXPORT bool sameContent(const Package& a, const Package& b);

} // namespace model
} // namespace opc
