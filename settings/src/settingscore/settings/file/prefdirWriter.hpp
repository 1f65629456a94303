/// The file-writer thread of the process.
#pragma once

#include "settingscore/settings/file/PrefdirFileWriterQueue.hpp"

namespace settings::core::detail {

/// Made on first use, drained and ended at the exit of the process. A fork() waits for the pass that runs, so
/// that the child inherits no half-done save; a child that goes on has no writer (null), and saves run in the
/// caller there. Thread-safe.
PrefdirFileWriterQueue* prefdirWriter();

} // namespace settings::core::detail
