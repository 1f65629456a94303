/// The parts of a package as a tree of files and folders.
#pragma once

#include "opc/qfservices/FileSystemEntry.hpp"
#include "varnek/Export.hpp"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace opc::detail {
struct PackageData;
}
namespace opc::model {
class Package;
}

namespace opc::qfservices {

/// The content type of parts that are plain text, JSON among them.
VARNEK_EXPORT const std::string& getTextContentType();

/// A view of one package's state; cheap to make, externally synchronised together with the package, and
/// usable while the package is open.
///
/// Names are absolute and case-sensitive. Folders exist through the files in them. The package's own parts
/// (content types, relationships, core properties) do not appear. Operations on a closed package throw
/// std::logic_error; a change that is refused leaves the package as it was.
class VARNEK_EXPORT FileSystemManager {
  public:
    explicit FileSystemManager(const model::Package& package);

    /// Whether there is a file or a folder of this name. The root "/" is always there.
    bool hasEntry(std::u16string_view name) const;
    /// Throws OpenError (noSuchPart).
    FileSystemEntry getEntry(std::u16string_view name) const;
    /// Files and folders directly inside a folder, sorted by name; none for a file. Throws OpenError
    /// (noSuchPart).
    std::vector<FileSystemEntry> getChildren(std::u16string_view folder) const;

    /// The bytes of a file, never null; they stay when the package changes or closes. Throws OpenError:
    /// noSuchPart (also for a folder), noPassword.
    std::shared_ptr<const std::string> getFileContentSource(std::u16string_view name) const;
    /// Throws OpenError (noSuchPart).
    std::string getContentType(std::u16string_view name) const;

    /// Adds a file, or replaces the whole of an existing one. Throws WriteError: unsafeName (also for the
    /// names of the package's own parts), limitExceeded, duplicatePart (a folder has that name, or a file the
    /// name of a folder above), unsupported (malformed content type), noPassword.
    void addFile(std::u16string_view name, std::string bytes, const std::string& contentType);
    /// Throws WriteError (noSuchPart), also for a folder.
    void deleteFile(std::u16string_view name);
    /// Deletes all files below a folder and returns their number; 0 when there is no such folder.
    std::size_t deleteFolder(std::u16string_view folder);

    /// Whether the package was opened from encrypted parts, decrypted since or not.
    bool isEncrypted() const;

  private:
    std::shared_ptr<detail::PackageData> data_;
};

} // namespace opc::qfservices
