/// The log channel of start-up and of changes of the preferences directory.
#pragma once

#include "varnek/log/Channel.hpp"

namespace settings::core::detail {

extern varnek::log::Channel startupLog; // "settings::core::startup"

} // namespace settings::core::detail
