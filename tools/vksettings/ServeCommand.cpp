// serve: lets other processes use groups of this one's tree.

#include "Commands.hpp"
#include "Ending.hpp"
#include "Printable.hpp"
#include "Tree.hpp"

#include "settingscore/PersonalFileWatch.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "json/Writer.hpp"

#include <algorithm>
#include <exception>
#include <string>
#include <vector>

namespace vksettings {

namespace core = settings::core;
namespace json = varnek::json;

namespace {

/// Publishes the groups while it lives: in a shell the process goes on.
class Serving {
  public:
    explicit Serving(const std::vector<std::string>& groups) : groups_(groups) {
        core::publishTopLevelGroups(groups_);
    }
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;
    ~Serving() {
        try {
            core::withdrawTopLevelGroups(groups_);
        } catch (const std::exception&) { // they are withdrawn; others could not take their places
        }
    }

  private:
    const std::vector<std::string>& groups_;
};

} // namespace

void serve(const ServeOptions& options, std::ostream& out) {
    const Ending ending;
    std::vector<std::string> served; // each of them once
    for (const std::string& group : options.groups)
        if (std::find(served.begin(), served.end(), group) == served.end())
            served.push_back(group);
    root();
    const Serving serving(served);
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
    const core::PersonalFileWatch files; // what other processes store is served, too
    ending.wait(Ending::Output::ignored);
}

} // namespace vksettings
