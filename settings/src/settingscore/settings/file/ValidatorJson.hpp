/// Declarative validators as JSON: the member "settingValueValidator" of a setting.
///
/// One validator is an object, several (a value is accepted when one of them accepts it) are an array:
///
/// | member                                      | kind    | meaning |
/// |---------------------------------------------|---------|------------------------------------------------------|
/// | "MustBeNumeric", "MustBeInteger"            | numbers | true; "MustBeInteger" implies numbers | |
/// "MinValue", "MaxValue"                      | numbers | inclusive bounds; a number, or a typed number | |
/// "MustBeString"                              | texts   | true | | "ValidStringValues" | texts   | array of
/// strings; empty: every text                  | | "MinStringSize", "MaxStringSize"            | texts   |
/// UTF-16 code units, inclusive; 0: no bound            | | "StoreAsCharVector"                         |
/// texts   | true: an accepted string is stored as characters     | | "MustBeLogical" | logical | true | |
/// "isVector"                                  | all     | true: a row or column; false: one value; absent:
/// any | | "MinVectorSize", "MaxVectorSize"            | all     | with "isVector" true; elements, inclusive;
/// 0: none   |
///
/// A flag that is false says nothing. Thread-safe.
#pragma once

#include "settingscore/settings/file/FunctionMembers.hpp"
#include "settingscore/validation/SettingValueValidator.hpp"
#include "json/Value.hpp"

#include <string>
#include <vector>

namespace settings::core::detail {

/// The validators of `json`, which stands at `path`. Every fault goes to the sink, also unknown members, two
/// kinds in one validator, and sizes without a vector; a validator at fault is left out. Bounds that exclude
/// each other are no faults here: a validator in memory may have them, and every one reads back.
std::vector<SettingValueValidator::ConfigData>
readValidators(const varnek::json::Value& json, const std::string& path, const FaultSink& fault);

/// Reports bounds that no value can satisfy: a minimum above the maximum, NaN. `inArray`: the validators
/// stand in an array at `path`, one after the other.
void reportContradictions(const std::vector<SettingValueValidator::ConfigData>& validators,
                          const std::string& path, bool inArray, const FaultSink& fault);

/// An object for one validator, an array for any other number. Reads back as an equal list.
varnek::json::Value writeValidators(const std::vector<SettingValueValidator::ConfigData>& validators);

} // namespace settings::core::detail
