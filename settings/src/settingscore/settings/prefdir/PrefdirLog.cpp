#include "settingscore/settings/prefdir/PrefdirLog.hpp"

namespace settings::core::detail {

varnek::log::Channel prefdirLog("settings::core::settingsPathUtil");

} // namespace settings::core::detail
