// watch: what changes in the tree, until the user has seen enough.

#include "Changes.hpp"
#include "Commands.hpp"
#include "Ending.hpp"
#include "Tree.hpp"

#include "settingscore/PersonalFileWatch.hpp"
#include "settingscore/spf/RemoteGroups.hpp"

#include <functional>

namespace vksettings {

namespace core = settings::core;

namespace {

/// Hands the lines that are wanted to the output until the user has seen enough.
void print(const WatchOptions& options, std::ostream& out, const Ending& ending,
           const std::function<bool(const EventLine&)>& isWanted,
           const std::function<void()>& whileListening) {
    const PrintingChanges printing;
    Changes changes(
        [&](const EventLine& line) {
            if (!isWanted(line))
                return;
            out << line.text() << '\n' << std::flush;
            if (!out)
                ending.request();
        },
        options.json);
    whileListening();
    if (options.remote)
        changes.leave(); // a process that does not answer is not waited for
    else
        changes.end();
}

/// The group itself may come and go as well.
void watchRemote(const WatchOptions& options, std::ostream& out, const Ending& ending) {
    rootForRemoteGroups();
    warnOfLoadProblems();
    const auto isWanted = [&](const EventLine& line) {
        return line.isRemote() && (line.isAbout(options.name) || options.name.starts_with(line.name() + "."));
    };
    print(options, out, ending, isWanted, [&] {
        core::attachRemoteGroups();
        ending.wait(Ending::Output::watched);
    });
}

} // namespace

void watch(const WatchOptions& options, std::ostream& out) {
    const Ending ending;
    if (options.remote)
        return watchRemote(options, out, ending);
    const std::string name = options.name.empty() ? std::string() : resolve(options.name)->getFullName();
    for (const Handle& group : root()->getChildren())
        if (name.empty())
            canBeLoaded(group); // nobody can tell what changes in a group that nobody has read
    warnOfLoadProblems();
    print(
        options, out, ending, [&](const EventLine& line) { return line.isAbout(name); },
        [&] {
            const core::PersonalFileWatch files;
            ending.wait(Ending::Output::watched);
        });
}

} // namespace vksettings
