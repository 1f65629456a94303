/// The validation function of a setting, whichever world it lives in.
#pragma once

#include "settingscore/validation/FunctionValidators.hpp"
#include "varnek/data/Array.hpp"

#include <boost/shared_ptr.hpp>

#include <functional>
#include <string>
#include <utility>

namespace settings::core::detail {

/// Calls the function, if there is one. Raises what the classes of FunctionValidators.hpp raise;
/// exception::UnsupportedType and exception::DefaultValidationFailedOnVoidType when the function replaced the
/// value by one that no setting may hold. After a failure the value is as it was; the flag never changes.
///
/// `keyName` gives the setting's own name; called only for functions that are told of it. To be called
/// without locks: runs foreign code.
void callFunctionValidator(const ValidatorVariant& validator,
                           const boost::shared_ptr<const Settings>& setting,
                           const boost::shared_ptr<Settings>& parent,
                           const std::function<std::string()>& keyName,
                           std::pair<varnek::data::Array, bool>& valueAndFlag);

/// exception::InvalidValidator when it is known already that the function cannot be called: one of a plug-in
/// that cannot be found, or of this process without a callable. Loads the plug-in.
void requireFunction(const ValidatorVariant& validator);

} // namespace settings::core::detail
