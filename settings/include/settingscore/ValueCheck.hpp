/// Checks of values that are stored already, or that are not to be stored: by the rules of a set.
#pragma once

#include "settingscore/Export.hpp"
#include "varnek/data/Array.hpp"

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <exception>
#include <functional>
#include <string>
#include <string_view>

namespace settings::core {

class Settings;

/// Raises what a set of that value would raise for the value's sake: exception::UnsupportedType,
/// exception::DefaultValidationFailedOnVoidType, what the last validator raises, what the validation function
/// raises. Nothing is stored; the definition's error handler, which is told of refused sets, is not called.
/// Whether the setting may be changed is not asked. An alias is followed as a set follows it.
///
/// NotAKeyName for a group. Thread-safe; runs the validation function.
SETTINGSCORE_EXPORT void checkValue(const Settings& setting, const varnek::data::Array& value);

/// The same for a value that comes with its vector flag, which tells a list of one element from the element.
SETTINGSCORE_EXPORT void checkValue(const Settings& setting, const varnek::data::Array& value, bool isVector);

/// As checkValue, but without the validation function: what declarative validators and the type of the value
/// decide.
SETTINGSCORE_EXPORT void checkDeclaratively(const Settings& setting, const varnek::data::Array& value);

/// A value that its setting would not take.
struct RefusedLevelValue {
    boost::shared_ptr<const Settings> setting;
    std::string_view level;
    varnek::data::Array value;
    std::exception_ptr
        failure; ///< what checkValue raises; a function may throw anything, not only std::exception
};

/// Checks the value of every level of every setting at or below the node, hidden ones included; an alias has
/// none of its own. Groups of other processes (isRemote) are left out. Run-time defaults are not computed.
/// `refused` is called for each value that fails, in the order of the names, without locks; what it throws
/// ends the check, and so does boost::thread_interrupted from a validation function. Returns how many values
/// were checked.
///
/// Thread-safe: each value is taken as it stands when it is reached.
SETTINGSCORE_EXPORT std::size_t
checkStoredValues(const Settings& node, const std::function<void(const RefusedLevelValue&)>& refused);

} // namespace settings::core
