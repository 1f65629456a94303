/// The default sink: one line per record on standard error, through Boost.Log.
#pragma once

#include "varnek/log/Channel.hpp"

#include <string_view>

namespace varnek::log {

/// `text` is already escaped. Records carry the attributes Channel, Severity, Message and TimeStamp, so that
/// sinks which the host has added to the Boost.Log core receive them too. Thread-safe; during and after
/// static destruction the line goes to standard error without Boost.Log.
void writeThroughBoostLog(std::string_view channel, Severity severity, std::string_view text);

} // namespace varnek::log
