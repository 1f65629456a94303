/// Makes the factory file of a toolbox: the definitions of one top-level group in the format that the library
/// loads.
///
///     auto generator = varnek::settings::FactoryFileGenerator::fromDocument("editor.json");
///     generator.write("/opt/workbench/editor.vksettings");
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/factoryfile/FactoryGroup.hpp"
#include "settingscore/factoryfile/InvalidDefinition.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace varnek::settings {

/// What happened to one setting or group between two releases. Paths are full names, UTF-8.
struct FactoryChange {
    enum class Operation : std::uint8_t { move = 0, remove = 1 };

    Operation operation = Operation::move;
    std::string from;
    std::string to; ///< empty for a removal

    friend bool operator==(const FactoryChange&, const FactoryChange&) = default;
};

/// The changes that one release brought, in the order in which personal files follow them.
struct FactoryUpgrader {
    std::u16string versionLabel; ///< "R2025a"
    std::vector<FactoryChange> changes;

    friend bool operator==(const FactoryUpgrader&, const FactoryUpgrader&) = default;
};

/// A value that shares its group. Externally synchronised.
class SETTINGSCORE_EXPORT FactoryFileGenerator {
  public:
    /// `group` is a top-level group; what is added to it later goes into the file as well.
    /// std::invalid_argument for a group below another one.
    explicit FactoryFileGenerator(FactoryGroup group);

    /// Reads a definition document (docs/definition-document.md), upgraders included. Blocks on the disk.
    /// Errors: varnek::files::FileError; InvalidDefinition with every fault of the document.
    static FactoryFileGenerator fromDocument(const std::filesystem::path& document);
    /// The same for a text in memory, which messages call `name`.
    static FactoryFileGenerator fromText(std::string_view document, const std::string& name);

    FactoryGroup getGroup() const { return group_; }

    /// Appends an upgrader. Released ones are never changed or taken out: personal files count them.
    /// InvalidDefinition for an empty label or path, a removal with a destination or a move without one.
    void addUpgrader(FactoryUpgrader upgrader);
    const std::vector<FactoryUpgrader>& getUpgraders() const noexcept { return upgraders_; }

    /// Writes the factory file, durably; equal definitions give equal files, and an identical file is left
    /// alone. Nothing while saving is switched off. `force`: a file without write permission is written all
    /// the same, and has none afterwards either. Blocks on the disk.
    /// Errors, with the file as it was: ErrorSaveSettingsDueToFileIOError for a file without write
    /// permission; SettingsFileNotWritten for a relative path and everything else that keeps it from being
    /// written.
    void write(const std::filesystem::path& file, bool force = false) const;

  private:
    FactoryGroup group_;
    std::vector<FactoryUpgrader> upgraders_;
};

} // namespace varnek::settings
