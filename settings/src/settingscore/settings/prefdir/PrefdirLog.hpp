/// The log channel of the preferences directory.
#pragma once

#include "varnek/log/Channel.hpp"

namespace settings::core::detail {

extern varnek::log::Channel prefdirLog; // "settings::core::settingsPathUtil"

} // namespace settings::core::detail
