/// Values as people and scripts read and write them.
#pragma once

#include "varnek/data/Array.hpp"
#include "json/Value.hpp"

#include <string>

namespace vksettings {

/// One text, of either class, as it is; a number; true/false; arrays as [1,2] and [[1,2],[3,4]]; "(not set)"
/// for none. What it gives for a value is what parsed() makes that value of.
std::string shown(const varnek::data::Array& value);

/// Plain JSON where it reads back the same, otherwise the typed form; null for none.
varnek::json::Value asJson(const varnek::data::Array& value);

/// "double 1x3", "char"; empty for none.
std::string typeShown(const varnek::data::Array& value);

/// Reads `text` as a value of the type of `like` (void: as JSON, and as a text when it is none): texts
/// literally, arrays as JSON; an integer that its type does not hold exactly is refused.
/// std::invalid_argument with a reason a person understands.
varnek::data::Array parsed(const std::string& text, const varnek::data::Array& like);

/// Reads `text` as JSON: plain or typed.
varnek::data::Array parsedJson(const std::string& text);

} // namespace vksettings
