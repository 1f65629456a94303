/// The lines that a user has typed, kept in a file of the user's state folder.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vksettings {

/// The file is plain text, a line each, readable for the user alone. Several sessions append to it at once.
/// History is a convenience: nothing is raised where the file cannot be read or written.
class CommandHistory {
  public:
    static constexpr std::size_t maxLines = 1000;

    /// Empty: nothing is kept.
    explicit CommandHistory(std::filesystem::path file);

    /// Below $XDG_STATE_HOME; empty when the user has no home folder.
    static std::filesystem::path usualFile();

    /// Oldest first, from when the object was made.
    const std::vector<std::string>& lines() const noexcept { return lines_; }
    /// Whether the line is worth keeping: it is not blank, does not begin with a space and shows no password.
    static bool isKept(std::string_view line);
    void append(std::string_view line) const;

  private:
    const std::filesystem::path file_;
    std::vector<std::string> lines_;
};

} // namespace vksettings
