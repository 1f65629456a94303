/// The words of a command line, quoted as in a POSIX shell: '…' keeps everything, "…" everything but \" and
/// \\, and a backslash outside quotes the next character. Spaces and tabs separate words; a word that begins
/// with # begins a comment.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vksettings {

/// std::invalid_argument for a quote that is not closed and for a backslash at the end.
std::vector<std::string> wordsOf(std::string_view line);

/// A line that ends where the user is typing.
struct BegunLine {
    std::vector<std::string> words; ///< those before the last one
    std::string last;               ///< without its quotes; empty after a space
    char quote = 0;                 ///< the quote it stands in; 0: none
};
BegunLine begunLine(std::string_view line);

/// The text as part of a word that stands in `quote`.
std::string quotedPart(std::string_view text, char quote);

/// The text as one word of a command line, also of one for a shell.
std::string quotedWord(std::string_view text);

} // namespace vksettings
