/// The channel on which validators and run-time defaults speak.
#pragma once

#include "varnek/log/Channel.hpp"

namespace settings::core::detail {

inline varnek::log::Channel validationLog("settings::core::settingValueValidators");

} // namespace settings::core::detail
