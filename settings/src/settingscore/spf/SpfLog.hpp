/// The log channel of groups that are shared with other processes.
#pragma once

#include "varnek/log/Channel.hpp"

namespace settings::spf {

extern varnek::log::Channel spfLog; // "settings::core::spf"

} // namespace settings::spf
