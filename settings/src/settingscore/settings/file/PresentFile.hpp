/// The file that is in the place of one that is to be written.
#pragma once

#include "opc/model/Package.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace settings::core::detail {

struct PresentFile {
    enum class State : std::uint8_t {
        absent = 0,
        plain = 1,
        encrypted = 2,  // must not be replaced
        damaged = 3,    // no package
        unreadable = 4, // a passing fault says nothing about what it holds
    };

    State state = State::absent;
    std::optional<opc::model::Package> package; // of a plain one that has been read
    std::uint64_t revision = 0;
    std::string message; // why it is damaged or unreadable

    /// Blocks on the disk. Does not throw for what it may find.
    static PresentFile at(const std::filesystem::path& file);
};

/// Renames a damaged file to "<name>.damaged" or, where there is one already, "<name>.damaged-2" and so on,
/// so that the next save does not destroy what might be saved from it. varnek::files::FileError. For one
/// thread at a time per file.
void setAside(const std::filesystem::path& file);

/// The same for a file that is about to be replaced: it stays where it is until then.
void keepAside(const std::filesystem::path& file);

} // namespace settings::core::detail
