/// Refused values in words: which setting, which value, which level, and the rule that the value broke.
#pragma once

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "varnek/data/Array.hpp"

#include <exception>
#include <stdexcept>
#include <string>

namespace vksettings {

/// A value that a setting does not take. what() is the whole message, UTF-8.
class RefusedValue : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Whether the failure is about the value, not about its setting, level or file.
bool isAboutTheValue(const std::exception& failure);

/// The rule with its bounds or choices; where validators are alternatives, all of them. Names the validation
/// function when it is what refuses. `setting` may be an alias.
std::string brokenRule(const std::exception& failure, const settings::core::Settings& setting,
                       const varnek::data::Array& value);

/// The same for whatever a validation function throws.
std::string brokenRule(const std::exception_ptr& failure, const settings::core::Settings& setting,
                       const varnek::data::Array& value);

/// `"editor.tabWidth" cannot be 17 on level "user": 17 is not in the range from 1 to 16`.
RefusedValue refusedValue(const std::exception_ptr& failure, const settings::core::Settings& setting,
                          const settingscore::boostany::ShapedArray& value, const std::string& level);
/// The same for a rule in words.
RefusedValue refusedValue(const std::string& fullName, const settingscore::boostany::ShapedArray& value,
                          const std::string& level, const std::string& rule);

/// What shown() gives, cut where it would fill the screen.
std::string shownBriefly(const varnek::data::Array& value, bool isVector = false);

} // namespace vksettings
