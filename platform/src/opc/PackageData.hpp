// The state of an open package, shared by the handle and the managers.
#pragma once

#include "opc/PackageError.hpp"
#include "opc/Refusal.hpp"
#include "opc/qfservices/CoreProperties.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace opc::model {
class Package;
}

namespace opc::detail {

/// A password that does not stay in memory.
class Secret {
  public:
    Secret() = default;
    /// Throws std::invalid_argument for a password with NUL, which the archive format could not tell from a
    /// shorter one.
    explicit Secret(const std::string& text);
    Secret(Secret&& other) noexcept;
    Secret& operator=(Secret&& other) noexcept;
    ~Secret();

    bool empty() const noexcept { return text_.empty(); }
    const char* text() const noexcept { return text_.empty() ? nullptr : text_.c_str(); }

  private:
    std::string text_;
};

using Bytes = std::shared_ptr<const std::string>;

struct Part {
    Bytes bytes; // null while encrypted
    std::string contentType;
};

/// What a package says. Copies share the bytes.
struct Content {
    std::map<std::string, Part, std::less<>> parts; // by name; without the package's own parts
    std::string relationships;                      // of the package; empty: none
    std::string coreName;                           // of the part with the core properties; empty: none
    Bytes coreXml;
    qfservices::CoreProperties core;
};

struct PackageData {
    std::filesystem::path path;
    bool open = true;
    bool writable = false;
    bool encrypted = false; // came so
    bool sealed = false;    // not decrypted yet: the parts have no bytes
    Content content;
    std::optional<Content> asOpened; // what stands in the file; only for packages that close writes back
    Bytes archive;                   // only while sealed
    Secret password;                 // for writing

    /// Throws std::logic_error.
    void expectOpen() const;
    /// Throws Refusal (noPassword): what is still encrypted cannot be written back.
    void expectChangeable() const;
};

/// Whether a file of this name would stand in the place of a folder, or below another file.
bool clashesWithFolder(const Content& content, const std::string& name);

/// Reads an archive into `data` (path set). Throws Refusal.
void readPackage(PackageData& data, std::string_view archive);

/// Decrypts the parts of a sealed package; strong guarantee. Throws Refusal.
void unsealPackage(PackageData& data, const Secret& password);

/// The archive of a package. Throws Refusal.
std::string packPackage(const PackageData& data);

/// Equal apart from the revision number.
bool sameContent(const Content& a, const Content& b);

/// The state behind a handle, which must be open.
const std::shared_ptr<PackageData>& openData(const model::Package& package);

} // namespace opc::detail
