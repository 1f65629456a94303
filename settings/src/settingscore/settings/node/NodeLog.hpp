/// The log channel of the settings tree.
#pragma once

#include "varnek/log/Channel.hpp"

namespace settings::core::detail {

extern varnek::log::Channel nodeLog; // "settings::core::settingsImpl"

} // namespace settings::core::detail
