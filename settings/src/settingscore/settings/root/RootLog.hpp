/// The log channel of the settings trees.
#pragma once

#include "varnek/log/Channel.hpp"

namespace settings::core::detail {

extern varnek::log::Channel rootLog; // "settings::core::settingsImplRoot"

} // namespace settings::core::detail
