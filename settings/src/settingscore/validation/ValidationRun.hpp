/// The declarative validation of one value: its setting's validators as alternatives.
#pragma once

#include "settingscore/validation/FactorySettingProperties.hpp"
#include "settingscore/validation/SettingValueValidator.hpp"
#include "varnek/data/Array.hpp"

#include <boost/shared_ptr.hpp>

#include <functional>
#include <string>
#include <vector>

namespace settings::core::detail {

/// Tries the validators in order; the first that accepts ends the run, and `value` has the form that it
/// stores. Without validators every value is accepted as it is.
///
/// When all refuse, the error handler (may be empty) is called once with the full name and the value; then
/// the refusal of the last validator is raised. What the handler throws is logged and dropped: a handler is
/// told of a refusal, it does not decide about it. It may end its thread, and what asks for that passes,
/// boost::thread_interrupted; but it has nothing to rethrow. Other failures of a validator than
/// exception::ValidationException end the run at once. In all these cases `value` is as it was.
///
/// `fullName` gives the setting's full name; it is called only for log lines and the handler, at most once.
/// Thread-safe; to be called without locks, because validators and handlers may be the host's.
void runValidators(const std::vector<SettingValueValidator>& validators,
                   const FactorySettingProperties::ErrorHandler& errorHandler,
                   const boost::shared_ptr<const Settings>& setting,
                   const boost::shared_ptr<Settings>& parent, const std::function<std::string()>& fullName,
                   varnek::data::Array& value);

} // namespace settings::core::detail
