/// All that a definition makes a value go through.
#pragma once

#include "settingscore/validation/FactorySettingProperties.hpp"
#include "settingscore/validation/SettingValueValidator.hpp"
#include "varnek/data/Array.hpp"

#include <boost/shared_ptr.hpp>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace settings::core::detail {

/// Refers to what the definition holds.
struct ValidationRules {
    const std::vector<SettingValueValidator>& validators;
    const FactorySettingProperties::ErrorHandler& errorHandler;
    const ValidatorVariant& function;
};

/// runValidators(), then callFunctionValidator(), which is given what the validators accepted. Where one of
/// them gives an array of another shape, or characters for something else or the reverse, the vector flag is
/// computed anew. Raises what they raise; the value is as it was then, unless only the function failed.
/// To be called without locks: runs foreign code.
void runFullValidation(const ValidationRules& rules, const boost::shared_ptr<const Settings>& setting,
                       const boost::shared_ptr<Settings>& parent,
                       const std::function<std::string()>& fullName,
                       const std::function<std::string()>& keyName,
                       std::pair<varnek::data::Array, bool>& valueAndFlag);

} // namespace settings::core::detail
