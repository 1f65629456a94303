#include "settingscore/settings/upgrade/UpgradeLog.hpp"

namespace settings::core::detail {

varnek::log::Channel upgradeLog("settings::core::upgrade");

} // namespace settings::core::detail
