/// Tells which files of a folder others put in place, replace or remove.
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace varnek::files {

struct FolderChanges {
    /// Plain names, sorted, each once: files that were written and closed, renamed to or from, or removed.
    /// Folders and files that are only made, not filled, do not count.
    std::vector<std::string> names;
    /// Any file may have changed: the system had more to tell than it could keep, or the folder was made,
    /// removed or replaced.
    bool isEverything = false;
};

/// Watches one folder from a thread of its own; what comes together is told in one call. The folder may be
/// made, removed and made again while it is watched. Not noticed: the renaming of a folder further up, what
/// other machines change on a network file system, and changes behind a file that is a link.
///
/// The object is made and destroyed by one thread. Signals stay with the other threads of the process.
class VARNEK_EXPORT FolderWatch {
  public:
    /// Called on the watching thread, one call at a time, without locks. What it throws is logged on the
    /// channel "varnek::files::FolderWatch" and goes no further. It may destroy its watch.
    using Listener = std::function<void(const FolderChanges&)>;

    /// Whatever changes after the constructor is told. Throws std::invalid_argument for an empty folder or
    /// listener, std::system_error when the system gives no means to watch.
    FolderWatch(const std::filesystem::path& folder, Listener listener);
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;
    /// Waits for a running call of the listener, unless that is the caller; none begins afterwards. In a
    /// child of fork(), where the watch tells nothing, it does nothing, and the watch of the parent goes on.
    ~FolderWatch();

  private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace varnek::files
