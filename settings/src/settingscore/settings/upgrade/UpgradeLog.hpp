/// The log channel of upgrades between releases.
#pragma once

#include "varnek/log/Channel.hpp"

namespace settings::core::detail {

extern varnek::log::Channel upgradeLog; // "settings::core::upgrade"

} // namespace settings::core::detail
