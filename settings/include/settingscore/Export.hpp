// Marks what the settings library exports.
#pragma once

#define SETTINGSCORE_EXPORT __attribute__((visibility("default")))
