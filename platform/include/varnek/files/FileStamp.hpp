/// What tells one state of a file from another without reading it.
#pragma once

#include "varnek/Export.hpp"

#include <cstdint>
#include <filesystem>

namespace varnek::files {

/// A plain value. Two stamps of a file that has been replaced in between differ; so do, within the resolution
/// of the file system's clock, those of a file that has been written to.
struct FileStamp {
    bool exists = false;
    std::uint64_t device = 0;
    std::uint64_t fileNumber = 0;
    std::uint64_t bytes = 0;
    std::int64_t modified = 0; // nanoseconds since 1970
    std::int64_t changed = 0;
    std::int64_t born = 0; // 0 where the file system does not say

    bool operator==(const FileStamp&) const = default;
    /// Whether both are of one file or folder, whatever was written to it. Numbers are given anew; the time
    /// of birth tells two holders of one number apart.
    bool isSameEntry(const FileStamp& other) const noexcept {
        return exists && other.exists && device == other.device && fileNumber == other.fileNumber &&
               born == other.born;
    }

    /// Of what a link leads to. A file that cannot be asked for counts as missing. Thread-safe.
    VARNEK_EXPORT static FileStamp of(const std::filesystem::path& file) noexcept;
};

} // namespace varnek::files
