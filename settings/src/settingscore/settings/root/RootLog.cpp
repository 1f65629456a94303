#include "settingscore/settings/root/RootLog.hpp"

namespace settings::core::detail {

varnek::log::Channel rootLog("settings::core::settingsImplRoot");

} // namespace settings::core::detail
