/// What could follow in a line that a user types: commands, options, names, levels, paths.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vksettings {

/// What stands behind a word: the name of a setting, of a level, a path, or something else.
enum class Operand { other, name, level, path };

/// A command, as the parser of the command line knows it.
struct CommandWords {
    std::string name;
    std::vector<std::string> flags;         ///< "--json", "-r": without a value
    std::map<std::string, Operand> options; ///< with one
    std::vector<Operand> operands;          ///< the last one may repeat
    std::vector<CommandWords> commands;     ///< below it
};

struct Completion {
    std::string insert;               ///< what can be added at once, quoted; may be empty
    std::vector<std::string> choices; ///< all that fit, when there are several
};

/// Of the line up to the cursor. Loads the group whose members fit, no other one. Raises nothing: what cannot
/// be looked up does not fit.
Completion complete(const CommandWords& commands, std::string_view begun);

} // namespace vksettings
