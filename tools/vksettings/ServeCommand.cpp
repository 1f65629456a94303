// serve: lets other processes use groups of this one's tree.

#include "Commands.hpp"
#include "Ending.hpp"
#include "Printable.hpp"
#include "Tree.hpp"

#include "settingscore/PersonalFileWatch.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "json/Writer.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace vksettings {

namespace core = settings::core;
namespace json = varnek::json;

void serve(const ServeOptions& options, std::ostream& out) {
    const Ending ending;
    std::vector<std::string> served; // each of them once
    for (const std::string& group : options.groups)
        if (std::find(served.begin(), served.end(), group) == served.end())
            served.push_back(group);
    root();
    core::publishTopLevelGroups(served);
    if (options.json) {
        json::Array groups;
        for (const std::string& group : served)
            groups.push_back(jsonText(group));
        json::Object object;
        object.set("serving", std::move(groups));
        out << json::write(json::Value(std::move(object))) << '\n' << std::flush;
    } else {
        out << "serving";
        for (const std::string& group : served)
            out << ' ' << printable(group);
        out << '\n' << std::flush;
    }
    warnOfLoadProblems();
    {
        const core::PersonalFileWatch files; // what other processes store is served, too
        ending.wait(Ending::Output::ignored);
    }
    core::withdrawTopLevelGroups(served);
}

} // namespace vksettings
