/// Reads settings files.
#pragma once

#include "settingscore/settings/file/GroupJson.hpp"
#include "settingscore/settings/file/SettingsFileContent.hpp"

#include <filesystem>
#include <string_view>

namespace opc::model {
class Package;
}

namespace settings::core::detail {

/// The whole file, checked to its last member: either everything is read or nothing is kept. An encrypted
/// file is decrypted through the security plug-in. The top-level group without a name of its own in the file
/// is named after the file.
///
/// Blocks on the disk, for an encrypted file also in the plug-in. Errors: opc::OpenError ("Failed to open OPC
/// Package"); ErrorReadingSettingsData, which names file, part and place. Thread-safe.
SettingsFileContent readSettingsFile(const std::filesystem::path& file, FileUse use);

/// The same for an open package; `file` names it in messages.
SettingsFileContent readSettingsPackage(opc::model::Package& package, const std::filesystem::path& file,
                                        FileUse use);

/// Whether a settings file holds definitions; else it holds the values of a level.
bool holdsDefinitions(const opc::model::Package& package);

/// ErrorReadingSettingsData for an open package that holds values where definitions are asked for, or
/// definitions where values are: saving one as the other would lose most of it.
void requireKind(const opc::model::Package& package, const std::filesystem::path& file, bool definitions);

/// One group of an open, decrypted package; `folder` is its folder ("/settingstree/font"). Nothing when there
/// is no such group.
std::optional<GroupRecord> readGroupPart(const opc::model::Package& package,
                                         const std::filesystem::path& file, std::u16string_view folder,
                                         FileUse use);

/// The group that a file of this name belongs to.
std::string groupNameOf(const std::filesystem::path& file);

/// The name of the file of a top-level group.
std::string fileNameOf(std::string_view groupName);

} // namespace settings::core::detail
