/// How the last reading and the last saving of a settings file ended.
#pragma once

#include <cstdint>
#include <string_view>

namespace settings::core::detail {

/// Logged and compared across releases: never renumber.
enum class LoadOutcome : std::uint8_t {
    ok = 0,     // values in force
    absent = 1, // no file: the level holds nothing for the group
    unreadable =
        2, // passing fault, or encrypted without a key: nothing in force, saving waits until a read succeeds
    damaged = 3, // nothing in force, the file is set aside before the next save
    notRead = 4, // nobody has asked for it yet
};

/// Logged and compared across releases: never renumber.
enum class SaveOutcome : std::uint8_t {
    none = 0,              // nothing was to be saved yet
    saved = 1,             // the file holds the values
    unchanged = 2,         // it held them already and was left alone
    nothingToSave = 3,     // the group holds nothing on the level, or there is no group
    removed = 4,           // the same, and the file is gone
    switchedOff = 5,       // saving is off: goes with the next save
    notWritable = 6,       // the folder allows no writing
    encrypted = 7,         // an encrypted file is never replaced by a plain one
    waitingForRead = 8,    // the file could not be read yet: goes with the next save after a read
    failed = 9,            // goes with the next save
    levelWithoutFile = 10, // values of the level stay in memory
    folderAway = 11,       // so that what the file holds cannot be taken out of it: goes with the next save
};

/// "ok", "absent", ...
constexpr std::string_view nameOf(LoadOutcome outcome) noexcept {
    constexpr std::string_view names[] = {"ok", "absent", "unreadable", "damaged", "notRead"};
    return names[static_cast<std::size_t>(outcome)];
}

constexpr std::string_view nameOf(SaveOutcome outcome) noexcept {
    constexpr std::string_view names[] = {
        "none",        "saved",     "unchanged",      "nothingToSave", "removed",          "switchedOff",
        "notWritable", "encrypted", "waitingForRead", "failed",        "levelWithoutFile", "folderAway"};
    return names[static_cast<std::size_t>(outcome)];
}

} // namespace settings::core::detail
