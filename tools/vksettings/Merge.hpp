/// Storing the values of a settings file in the settings of the same names.
#pragma once

#include "Tree.hpp"

#include <ostream>
#include <string>

namespace vksettings {

/// `input` is the top-level group of the file. Says what was stored and what was left out. Nothing is stored
/// when one value is refused.
void mergeInto(const Handle& input, const std::string& level, std::ostream& out);

} // namespace vksettings
