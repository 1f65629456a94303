// toolboxes and reload: where the definitions of the top-level groups come from, and reading them again.

#include "Changes.hpp"
#include "Commands.hpp"
#include "Printable.hpp"
#include "Tree.hpp"

#include "settingscore/root/ToolboxGroups.hpp"
#include "json/Writer.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace vksettings {

namespace json = varnek::json;
using settings::core::ToolboxGroup;

namespace {

double milliseconds(const ToolboxGroup& group) {
    return std::chrono::duration<double, std::milli>(group.loadTime).count();
}

json::Value asJson(const ToolboxGroup& group) {
    json::Object object;
    object.set("name", jsonText(group.name));
    object.set("source", settings::core::nameOf(group.source));
    json::Array files;
    for (const auto& file : group.files)
        files.push_back(jsonText(file.native()));
    object.set("files", std::move(files));
    object.set("visible", group.isVisible);
    object.set("loaded", group.isLoaded);
    object.set("milliseconds", group.isLoaded ? json::Value(milliseconds(group)) : json::Value());
    return object;
}

using Row = std::array<std::string, 6>;

Row row(const ToolboxGroup& group) {
    std::string time;
    if (group.isLoaded) {
        std::array<char, 32> text{};
        std::snprintf(text.data(), text.size(), "%.2f ms", milliseconds(group));
        time = text.data();
    }
    std::string files;
    for (const auto& file : group.files)
        files.append(files.empty() ? "" : ", ").append(printable(file.native()));
    return {printable(group.name),
            std::string(settings::core::nameOf(group.source)),
            group.isVisible ? "yes" : "no",
            group.isLoaded ? "yes" : "no",
            time,
            files};
}

/// Columns as wide as they need; the last one ends the line.
void print(const std::vector<Row>& rows, std::ostream& out) {
    std::array<std::size_t, std::tuple_size_v<Row>> widths{};
    for (const Row& each : rows)
        for (std::size_t i = 0; i < each.size(); ++i)
            widths[i] = std::max(widths[i], each[i].size());
    for (const Row& each : rows) {
        std::string line;
        for (std::size_t i = 0; i < each.size(); ++i)
            line.append(each[i]).append(widths[i] - each[i].size() + 2, ' ');
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

} // namespace

void toolboxes(const ToolboxOptions& options, std::ostream& out) {
    const Handle tree = root();
    if (options.load)
        for (const Handle& group : tree->getChildren())
            canBeLoaded(group); // one that cannot is a warning
    const auto groups = settings::core::getToolboxGroups(settings::core::DefaultRootIndex());
    if (options.json) {
        json::Array all;
        for (const ToolboxGroup& group : groups)
            all.push_back(asJson(group));
        out << json::writeIndented(json::Value(std::move(all))) << '\n';
        return;
    }
    std::vector<Row> rows{{"GROUP", "SOURCE", "VISIBLE", "LOADED", "TIME", "FILES"}};
    for (const ToolboxGroup& group : groups)
        rows.push_back(row(group));
    if (!groups.empty())
        print(rows, out);
}

void reload(const std::string& group, std::ostream& out) {
    const Handle tree = root();
    const PrintedChanges changes(out);
    tree->reloadFactoryFile(group);
    const Handle read = tree->getChild(group); // nobody may have needed it before: what is wrong shows now
    if (read == nullptr)
        throw std::runtime_error("the definitions of \"" + group + "\" make no group of that name");
    read->getChildren();
}

} // namespace vksettings
