/// Opening encrypted settings files with the help of the security plug-in.
#pragma once

#include "settingscore/settings/file/FileFault.hpp"

#include <filesystem>
#include <string>

namespace opc::model {
class Package;
}

namespace settings::core::detail {

/// The name under which the secret of a settings file is kept: the file's name with its extension.
std::u16string secretNameOf(const std::filesystem::path& file);

/// Enables decryption with that secret. ErrorReadingSettingsData (encrypted) when there is no plug-in, no
/// secret, or it does not fit. May block in the plug-in.
void decrypt(opc::model::Package& package, const FilePlace& place);

} // namespace settings::core::detail
