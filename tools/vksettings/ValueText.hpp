/// Values as people and scripts read and write them.
#pragma once

#include "settingscore/boostany/ArrayConversion.hpp"
#include "varnek/data/Array.hpp"
#include "json/Value.hpp"

#include <string>

namespace vksettings {

/// A value with its vector flag, which tells a list of one element from the element.
using settingscore::boostany::ShapedArray;

/// One text, of either class, as it is; a number; true/false; arrays as [1,2] and [[1,2],[3,4]], also those
/// of one element; "(not set)" for none. What it gives for a value is what parsed() makes that value of.
std::string shown(const varnek::data::Array& value, bool isVector = false);

/// Plain JSON where parsedJson() makes the same of it, otherwise the typed form; null for none.
varnek::json::Value asJson(const ShapedArray& value);
/// The same where nobody knows the flag.
varnek::json::Value asJson(const varnek::data::Array& value);

/// "double 1x3", "char"; empty for none.
std::string typeShown(const varnek::data::Array& value);

/// Reads `text` as a value of the type of `like` (void: as JSON, and as a text when it is none): one text
/// literally, arrays as JSON; an integer that its type does not hold exactly is refused. Where `like` is a
/// list, so is the result. std::invalid_argument with a reason a person understands.
ShapedArray parsed(const std::string& text, const ShapedArray& like);

bool isJsonArray(const std::string& text);

/// Reads `text` as JSON: plain or typed. An array is a list, also of one element.
ShapedArray parsedJson(const std::string& text);

bool isJson(const std::string& text);

} // namespace vksettings
