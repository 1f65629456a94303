// Any bytes: a package is refused with OpenError, or what it says survives being written and read again.
#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "opc/qfservices/FileSystemManager.hpp"

#include <cstdint>
#include <cstdlib>
#include <optional>

namespace {

using opc::model::Package;

/// Visits everything as a reader would; returns the number of parts.
std::size_t visit(const opc::qfservices::FileSystemManager& files, const std::u16string& folder) {
    std::size_t parts = 0;
    for (const auto& entry : files.getChildren(folder)) {
        if (entry.isFolder())
            parts += visit(files, entry.getPathName());
        else
            parts += files.getFileContentSource(entry.getPathName()) != nullptr;
    }
    return parts;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::optional<Package> package;
    try {
        package = Package::openBytes({reinterpret_cast<const char*>(data), size});
    } catch (const opc::OpenError&) {
        return 0;
    }
    // From here on every exception is a fault.
    const opc::qfservices::FileSystemManager files(*package);
    if (files.isEncrypted())
        return 0;
    const std::string bytes = package->toBytes();
    const Package again = Package::openBytes(bytes);
    if (!sameContent(*package, again) || again.toBytes() != bytes ||
        visit(files, u"/") != visit(opc::qfservices::FileSystemManager(again), u"/"))
        std::abort();
    return 0;
}
