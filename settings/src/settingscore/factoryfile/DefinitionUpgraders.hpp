/// The member "upgraders" of a definition document.
#pragma once

#include "settingscore/factoryfile/DefinitionMembers.hpp"
#include "settingscore/node/ReleaseChanges.hpp"

#include <vector>

namespace settings::core::detail {

/// In the order of the document.
std::vector<UpgraderRecord> readDefinedUpgraders(const DefinitionMembers& document);

} // namespace settings::core::detail
