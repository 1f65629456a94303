// serve: lets other processes use groups of this one's tree.

#include "Commands.hpp"
#include "Ending.hpp"
#include "Printable.hpp"
#include "Tree.hpp"

#include "settingscore/PersonalFileWatch.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "json/Writer.hpp"

namespace vksettings {

namespace core = settings::core;
namespace json = varnek::json;

void serve(const ServeOptions& options, std::ostream& out) {
    const Ending ending;
    root();
    core::publishTopLevelGroups(options.groups);
    if (options.json) {
        json::Array groups;
        for (const std::string& group : options.groups)
            groups.push_back(jsonText(group));
        json::Object object;
        object.set("serving", std::move(groups));
        out << json::write(json::Value(std::move(object))) << '\n' << std::flush;
    } else {
        out << "serving";
        for (const std::string& group : options.groups)
            out << ' ' << printable(group);
        out << '\n' << std::flush;
    }
    warnOfLoadProblems();
    {
        const core::PersonalFileWatch files; // what other processes store is served, too
        ending.wait(Ending::Output::ignored);
    }
    core::withdrawTopLevelGroups(options.groups);
}

} // namespace vksettings
