/// The right to change the files of a folder, among processes that ask for it.
///
/// An advisory lock (flock(2)) on the folder itself: nothing is left behind, and the system takes it back
/// from a process that dies. Only those who ask are kept out; readers need not ask, since files are replaced
/// whole.
#pragma once

#include "varnek/Export.hpp"

#include <chrono>
#include <filesystem>
#include <memory>

namespace varnek::files {

/// One object belongs to the thread that made it. A thread that has the lock gets it again at once.
class VARNEK_EXPORT FolderLock {
  public:
    /// Waits for the folder, at most as long as `patience`: somebody who is stopped in the middle must not
    /// stop everybody. A folder that is not there is represented by the nearest one above it that is. Does
    /// not throw for what the system refuses; see isHeld().
    explicit FolderLock(const std::filesystem::path& folder,
                        std::chrono::milliseconds patience = std::chrono::seconds(10));
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock();

    /// False: the time was up, or the file system knows no locks.
    bool isHeld() const noexcept;
    /// Somebody else had it all the time.
    bool isTimeUp() const noexcept;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace varnek::files
