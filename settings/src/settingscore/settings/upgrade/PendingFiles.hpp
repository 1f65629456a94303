/// Personal files that are replaced together: whenever the process ends, all of them are as they were, or all
/// of them are due.
///
/// What is due stands, complete, in the file "upgrade.pending" of their folder until it is done. Whoever
/// loads or saves personal files finishes it first. Functions block on the disk; the caller keeps other
/// processes out of the folder.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace settings::core::detail {

/// The bytes of a settings file for each top-level group.
using NewFiles = std::map<std::string, std::string>;

/// Makes the new files due; nothing happens to the present ones yet. opc::WriteError and
/// varnek::files::FileError: nothing is due.
void makeDue(const std::filesystem::path& folder, const NewFiles& files);

bool hasPendingFiles(const std::filesystem::path& folder);

/// Replaces the files that are due, each through the ordinary save, and returns their groups. One that has
/// been saved since stays as it is. What cannot be replaced now stays due; the reason is logged.
std::vector<std::string> finishPendingFiles(const std::filesystem::path& folder);

} // namespace settings::core::detail
