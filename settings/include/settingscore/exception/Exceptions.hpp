/// Every failure that this library raises.
#pragma once

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/exception/FunctionFailures.hpp"
#include "settingscore/exception/RemoteCallFailed.hpp"
#include "settingscore/exception/RemoteFailures.hpp"
#include "settingscore/exception/SettingsException.hpp"
#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/exception/ValueTooLargeForFile.hpp"
