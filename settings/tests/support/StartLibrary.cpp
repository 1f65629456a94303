// Every test program starts the library as an application does.

#include "settingscore/startup/init.hpp"

namespace {

[[maybe_unused]] const bool isStarted = (settings::core::init(), true);

} // namespace
