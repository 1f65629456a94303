// Marks what the platform library exports.
#pragma once

#define VARNEK_EXPORT __attribute__((visibility("default")))
