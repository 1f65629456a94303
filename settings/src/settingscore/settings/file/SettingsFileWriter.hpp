/// Writes settings files.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/file/PresentFile.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace settings::core::detail {

/// The bytes of the file that replaces `present`, or nothing when that one says the same already. The
/// revision number does not count in the comparison; for a new image it becomes one more than both, in
/// `content` too. Equal contents give equal bytes. Throws opc::WriteError and varnek::json::WriteError for
/// what the reader would refuse. Thread-safe.
std::optional<std::string> fileImage(SettingsFileContent& content, LevelIndex level,
                                     const PresentFile& present);

/// Writes a group with its subtree to one file, durably, whatever the switch for saving says. An identical
/// file is left alone.
///
/// All of them block on the disk. Errors: SettingsFileNotWritten; the file is as it was. A file that is
/// encrypted, or that is there and is no settings file or that of another group, is never replaced; an empty
/// one is.
class SettingsFileWriter {
  public:
    /// Who may read a new file. Everybody, where `asTheLevel` says so of "factory" only: mode 0644, and an
    /// existing file keeps its own. Otherwise its owner: 0600, and no more than an existing file allows.
    enum class Readers : std::uint8_t { asTheLevel, everybody };

    /// Definitions and values of level "factory". `version`: of the definitions; absent: the group's own.
    static void writeFactoryFile(const NodePtr& group, const std::filesystem::path& file,
                                 const std::vector<UpgraderRecord>& upgraders,
                                 std::optional<std::uint32_t> version = {});
    /// Values of one level.
    static void write(const NodePtr& group, LevelIndex level, const std::filesystem::path& file,
                      const std::optional<VersionRecord>& version);
    /// What is given, as it stands.
    static void write(SettingsFileContent content, LevelIndex level, const std::filesystem::path& file,
                      Readers readers = Readers::asTheLevel);
};

} // namespace settings::core::detail
