/// The log channel of settings files.
#pragma once

#include "varnek/log/Channel.hpp"

namespace settings::core::detail {

extern varnek::log::Channel fileLog; // "settings::core::settingsFile"

} // namespace settings::core::detail
