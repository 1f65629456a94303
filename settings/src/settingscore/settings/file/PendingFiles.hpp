/// Personal files that are replaced together: whenever the process ends, all of them are as they were, or all
/// of them are due.
///
/// What is due stands, complete, in the file "upgrade.pending" of their folder until it is done. Whoever
/// loads or saves personal files finishes it first. A group whose file cannot be replaced is not saved until
/// it can; nobody else waits for it. Functions block on the disk.
#pragma once

#include "varnek/files/FileStamp.hpp"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace settings::core::detail {

/// The bytes of a settings file for each top-level group.
using NewFiles = std::map<std::string, std::string>;

/// What came of the files that were due.
struct PendingOutcome {
    std::vector<std::string> replaced;      // groups
    std::map<std::string, std::string> due; // groups that stay due, and why their files must not be saved
    varnek::files::FileStamp stamp;         // of what holds those that could not be replaced
    std::string whyNobody;                  // it cannot be told now what is due; empty: it can

    /// Why the file of the group must not be saved; nothing when it may.
    std::optional<std::string> whyHeld(const std::string& group) const;
};

/// Makes the new files due; nothing happens to the present ones yet. opc::WriteError and
/// varnek::files::FileError: nothing is due. The caller keeps other processes out of the folder.
void makeDue(const std::filesystem::path& folder, const NewFiles& files);

std::filesystem::path pendingFileOf(const std::filesystem::path& folder);
bool hasPendingFiles(const std::filesystem::path& folder);

/// Replaces the files that are due, each through the ordinary save. One that has been saved since stays as it
/// is; a damaged one is kept aside; an encrypted one stays, and stays due. What cannot be replaced now stays
/// due; the reason is logged. Raises std::bad_alloc only. The caller keeps other processes out of the folder.
PendingOutcome finishPendingFiles(const std::filesystem::path& folder);

/// The same; waits for other processes, ten seconds at most, and keeps them out. For whoever has not.
PendingOutcome finishPendingFilesAlone(const std::filesystem::path& folder);

} // namespace settings::core::detail
