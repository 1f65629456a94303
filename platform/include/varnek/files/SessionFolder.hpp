/// A folder that belongs to one process, for want of a better place.
///
/// Its name is given by the system; beside it lies the empty file `<name>_lock`, which is locked as long as
/// its owner lives: the folder of a process that ended can be told from one in use.
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>
#include <memory>
#include <string_view>

namespace varnek::files {

/// Immutable; destroyed by one thread. Both constructor and destructor block on the disk.
class VARNEK_EXPORT SessionFolder {
  public:
    /// Makes `<parent>/<namePart>XXXXXX` with mode 0700. Removes those of that name part first that this user
    /// made, that are empty and whose process has ended; what holds anything is never removed. Throws
    /// FileError (cannotCreateTemporaryDirectory, directoryNotWritable).
    SessionFolder(const std::filesystem::path& parent, std::string_view namePart);
    SessionFolder(const SessionFolder&) = delete;
    SessionFolder& operator=(const SessionFolder&) = delete;
    /// Removes the folder when it is empty.
    ~SessionFolder();

    const std::filesystem::path& path() const noexcept;
    const std::filesystem::path& lockFile() const noexcept;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace varnek::files
