#include "settingscore/settings/file/FileLog.hpp"

namespace settings::core::detail {

varnek::log::Channel fileLog("settings::core::settingsFile");

} // namespace settings::core::detail
