/// Settings objects of Java and the handles behind them.
#pragma once

#include "Cell.hpp"
#include "Machine.hpp"

#include "settingscore/Settings.hpp"

#include <boost/shared_ptr.hpp>

namespace vksettings::java {

using SettingsHandle = boost::shared_ptr<settings::core::Settings>;
using SettingsCell = Cell<SettingsHandle>;

/// std::invalid_argument for null, Closed.
SettingsHandle handleOf(JNIEnv& env, jobject settings);

/// A new vksettings.Settings, a local reference; null for an empty handle.
jobject javaSettings(JNIEnv& env, SettingsHandle handle);
/// The same for nodes that events and validators name.
jobject javaSettings(JNIEnv& env, const boost::shared_ptr<const settings::core::Settings>& handle);

} // namespace vksettings::java
