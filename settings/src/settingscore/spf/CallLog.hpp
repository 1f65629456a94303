/// Remote calls in the log of groups that are shared with other processes.
#pragma once

#include "settingscore/spf/RemoteMethods.hpp"

#include <exception>
#include <string>

namespace settings::spf {

/// Whether calls are logged at the moment.
bool isLoggingCalls() noexcept;
/// A line for a call that has been carried out, as JSON. One that has no form in JSON, as those with names
/// that are not UTF-8, is named: it must not fail because somebody reads along.
void logCall(const char* what, const std::string& method, const Value& result,
             const Value::List& arguments) noexcept;
/// The same for a call that has raised something: it returns nothing, and the line ends with the text of
/// that.
void logFailedCall(const char* what, const std::string& method, const std::exception& failure,
                   const Value::List& arguments) noexcept;

} // namespace settings::spf
