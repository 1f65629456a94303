/// The definition document: one top-level group with all its settings as JSON, written by people, from which
/// a factory file is made. docs/definition-document.md describes it.
#pragma once

#include "settingscore/settings/file/SettingsFileContent.hpp"

#include <string>
#include <string_view>

namespace settings::core::detail {

/// What the document says, as a factory file would: the tree, sorted by name, and the upgraders. Everything
/// that the document alone decides has been checked.
///
/// Raises varnek::settings::InvalidDefinition with every fault; `file` names the document there. A text that
/// is no JSON has one fault. Thread-safe, does not touch the disk.
SettingsFileContent readDefinitionDocument(std::string_view text, const std::string& file);

} // namespace settings::core::detail
