/// The file-writer thread of the process.
#pragma once

#include "settingscore/settings/file/PrefdirFileWriterQueue.hpp"

namespace settings::core::detail {

/// Made on first use, drained and ended at the exit of the process. Null in a child process that goes on
/// after fork(): saves run in the caller there. Thread-safe.
PrefdirFileWriterQueue* prefdirWriter();

} // namespace settings::core::detail
