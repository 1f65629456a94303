// Packages for the tests, and short ways to say what is done with them.
#pragma once

#include "opc/PackageError.hpp"
#include "opc/model/Package.hpp"
#include "opc/qfpackaging/Encryption.hpp"
#include "opc/qfservices/CorePropertiesManager.hpp"
#include "opc/qfservices/FileSystemManager.hpp"

#include <map>
#include <optional>
#include <ostream>
#include <string>

namespace opc {
inline void PrintTo(ErrorKind kind, std::ostream* stream) {
    *stream << nameOf(kind);
}
} // namespace opc

namespace opc_test {

using namespace opc;
using model::Package;
using qfservices::CoreProperties;
using qfservices::CorePropertiesManager;
using qfservices::FileSystemManager;
using qfservices::getTextContentType;

inline CoreProperties sampleProperties(std::uint64_t revision = 7) {
    CoreProperties properties;
    properties.title = "Settings Data";
    properties.contentType = "application/vnd.quillfern.varnek.settings";
    properties.version = "R2025a";
    properties.revision = revision;
    return properties;
}

/// Small and large parts, so that stored and deflated ones occur.
inline Package samplePackage(std::uint64_t revision = 7) {
    Package package = Package::create();
    CorePropertiesManager(package).setCoreProperties(sampleProperties(revision));
    FileSystemManager files(package);
    files.addFile(u"/schema.json", "schema", getTextContentType());
    files.addFile(u"/settingstree/settings.json", R"({"groupName":"editor"})", getTextContentType());
    std::string large;
    for (int i = 0; i < 100; ++i)
        large += R"({"name":"setting)" + std::to_string(i) + R"("},)";
    files.addFile(u"/settingstree/font/settings.json", large, getTextContentType());
    return package;
}

/// Everything that a package says, as text by name.
inline std::map<std::u16string, std::string> contentsOf(const Package& package) {
    std::map<std::u16string, std::string> contents;
    const FileSystemManager files(package);
    const auto walk = [&](const auto& self, const std::u16string& folder) -> void {
        for (const auto& entry : files.getChildren(folder)) {
            if (entry.isFolder())
                self(self, entry.getPathName());
            else
                contents[entry.getPathName()] = *files.getFileContentSource(entry.getPathName());
        }
    };
    walk(walk, u"/");
    return contents;
}

/// The kind of the failure of `work`, or an empty optional.
template <class Work>
std::optional<ErrorKind> failureOf(Work work) {
    try {
        work();
    } catch (const PackageError& error) {
        return error.kind();
    }
    return std::nullopt;
}

} // namespace opc_test
