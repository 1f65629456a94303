/// The typed failures of packages.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace opc {

/// What is wrong. Logged and compared across releases: never renumber.
enum class ErrorKind : std::uint8_t {
    notFound = 0,       // no such file
    permission = 1,     // the system denies access; may pass
    ioFault = 2,        // input/output error, out of descriptors or space, ...; may pass
    notRegularFile = 3, // folder, device, pipe, or a link out of the folder in the place of the file
    damaged = 4,        // the bytes are no package, or contradict themselves
    limitExceeded = 5,  // more than opc/Limits.hpp allows
    unsafeName = 6,     // part name that could lead out of a folder when unpacked, or is malformed
    duplicatePart = 7,  // two parts of one name, or a part in the place of a folder
    noPassword = 8,     // the part is encrypted
    wrongPassword = 9,
    unsupported = 10, // packing or encryption method, or an entry that is neither file nor folder
    noSuchPart = 11,  // asked for a part that the package does not have
};

/// "damaged", "noPassword", ...
VARNEK_EXPORT std::string_view nameOf(ErrorKind kind) noexcept;

/// Base of both failures. Immutable. what() reads `<sentence> "<path>": part "<name>": <cause>`; path and
/// part are left out when there is none, control characters and quotes in them are shown as \xNN.
class VARNEK_EXPORT PackageError : public varnek::exception::Exception {
  public:
    const char* what() const noexcept override { return data_->text.c_str(); }
    ErrorKind kind() const noexcept { return data_->kind; }
    /// The file; empty for a package in memory.
    const std::filesystem::path& path() const noexcept { return data_->path; }
    /// The part concerned as UTF-8 with its leading slash; empty when the package as a whole is meant.
    const std::string& part() const noexcept { return data_->part; }
    /// True for faults that may be gone the next time: the file was not read, which says nothing about its
    /// content.
    bool isPassing() const noexcept {
        return kind() == ErrorKind::permission || kind() == ErrorKind::ioFault ||
               kind() == ErrorKind::notRegularFile;
    }

  protected:
    PackageError(std::string_view sentence, ErrorKind kind, const std::filesystem::path& path,
                 std::string_view part, std::string_view cause);

  private:
    struct Data {
        ErrorKind kind;
        std::filesystem::path path;
        std::string part;
        std::string text;
    };
    std::shared_ptr<const Data> data_;
};

/// A package cannot be opened, decrypted or read: "Failed to open OPC Package".
class VARNEK_EXPORT OpenError : public varnek::exception::Cloneable<OpenError, PackageError> {
  public:
    OpenError(ErrorKind kind, const std::filesystem::path& path, std::string_view part,
              std::string_view cause);
};

/// A change or the whole package is refused, because it could not be opened again: "Failed to write OPC
/// Package". What the file system refuses while a package is saved is a varnek::files::FileError.
class VARNEK_EXPORT WriteError : public varnek::exception::Cloneable<WriteError, PackageError> {
  public:
    WriteError(ErrorKind kind, const std::filesystem::path& path, std::string_view part,
               std::string_view cause);
};

} // namespace opc
