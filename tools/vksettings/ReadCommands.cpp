// list, get and explain: what the tree holds.

#include "Commands.hpp"
#include "Printable.hpp"
#include "Remote.hpp"
#include "Tree.hpp"
#include "ValueText.hpp"

#include "settingscore/SettingExplanation.hpp"
#include "json/Writer.hpp"

#include <unistd.h>

#include <stdexcept>

namespace vksettings {

namespace json = varnek::json;
using varnek::data::Array;

namespace {

json::Object described(const std::string& fullName, const ShapedArray& shaped, const std::string& level) {
    const Array& value = shaped.first;
    json::Array dimensions;
    for (const std::size_t extent : value.dimensions())
        dimensions.push_back(extent);
    json::Object object;
    object.set("name", jsonText(fullName));
    object.set("value", asJson(shaped));
    object.set("type", value.isVoid() ? json::Value() : json::Value(varnek::data::className(value.type())));
    object.set("dimensions", std::move(dimensions));
    object.set("level", level.empty() ? json::Value() : json::Value(level));
    return object;
}

/// Walks a subtree and hands every visible setting, and every group that is not walked into, to the two
/// functions.
class Walk {
  public:
    Walk(const ListOptions& options, std::ostream& out) : options_(options), out_(out) {}

    void visit(const Handle& group, const std::vector<Handle>& children) {
        for (const Handle& child : children) {
            if (!child->isVisible() && !options_.hidden)
                continue;
            if (child->isLeafNode())
                show({group, child->getName(), group->getChild(child->getName())});
            else if (options_.recursive &&
                     (options_.remote || group->getParent() != nullptr || canBeLoaded(child)))
                visit(child, child->getChildren());
            else if (options_.recursive)
                continue; // whoever asked is warned
            else if (!options_.json)
                out_ << printable(child->getFullName()) << ".\n";
            else
                objects_.push_back(describedGroup(child));
        }
    }
    void show(const Setting& setting) {
        const bool leadsToGroup = !setting.handle->isLeafNode(); // an alias gone astray
        const auto [value, level] = leadsToGroup ? EffectiveValue() : effectiveValue(setting);
        if (options_.json)
            objects_.push_back(described(setting.fullName(), value, level));
        else
            out_ << printable(setting.fullName()) << " = " << printable(shown(value.first, value.second))
                 << (level.empty() || level == "factory" ? "" : "  (" + level + ")") << '\n';
    }
    void finish() {
        if (options_.json)
            out_ << json::writeIndented(json::Value(std::move(objects_))) << '\n';
    }

  private:
    /// With the members of a setting, so that scripts need not ask which are there.
    static json::Object describedGroup(const Handle& group) {
        json::Object object = described(group->getFullName(), {}, {});
        object.set("type", "group");
        return object;
    }

    const ListOptions& options_;
    std::ostream& out_;
    json::Array objects_;
};

json::Object asJson(const settings::core::SettingExplanation& e) {
    json::Array levels;
    for (const auto& level : e.levels) {
        json::Object object;
        object.set("level", level.level);
        object.set("isSet", !level.value.isVoid());
        object.set("value", vksettings::asJson(ShapedArray(level.value, level.isVector)));
        object.set("isVector", level.isVector);
        object.set("wins", level.wins);
        object.set("file", level.file.empty() ? json::Value() : jsonText(level.file));
        object.set("fileExists", level.fileExists);
        levels.push_back(std::move(object));
    }
    json::Array validators;
    for (const std::string& validator : e.validators)
        validators.push_back(validator);
    json::Object object;
    object.set("name", jsonText(e.fullName));
    object.set("aliasOf", e.aliasOf.empty() ? json::Value() : jsonText(e.aliasOf));
    object.set("title", e.title);
    object.set("description", e.description);
    object.set("visible", e.visible);
    object.set("readOnly", e.readOnly);
    object.set("definedOn", e.originLevel);
    object.set("validators", std::move(validators));
    object.set("validationFunction", e.validationFunction);
    object.set("runTimeDefault", e.runTimeDefault);
    object.set("levels", std::move(levels));
    return object;
}

void writeLine(std::ostream& out, const char* label, const std::string& text) {
    if (!text.empty())
        out << "  " << label << printable(text) << '\n';
}

} // namespace

void list(const ListOptions& options, std::ostream& out) {
    Walk walk(options, out);
    if (options.name.empty()) {
        walk.visit(rootForRemoteGroups(), options.remote ? attachAllRemote() : root()->getChildren());
        return walk.finish();
    }
    const Handle remote = options.remote ? attachRemote(options.name) : Handle();
    const Handle start = remote ? resolveIn(remote, options.name) : resolve(options.name);
    if (start->isLeafNode())
        walk.show(remote ? resolveSettingIn(remote, options.name) : resolveSetting(options.name));
    else
        walk.visit(start, start->getChildren());
    walk.finish();
}

void get(const GetOptions& options, std::ostream& out) {
    const Setting setting = options.remote ? resolveSettingIn(attachRemote(options.name), options.name)
                                           : resolveSetting(options.name);
    const auto [value, level] = options.level.empty()
                                    ? effectiveValue(setting)
                                    : EffectiveValue{valueOn(setting, options.level), options.level};
    if (options.json) {
        out << json::write(described(setting.fullName(), value, level)) << '\n';
        return;
    }
    if (value.first.isVoid())
        throw std::invalid_argument("\"" + setting.fullName() + "\" has no value" +
                                    (options.level.empty() ? "" : " on level \"" + level + "\""));
    // A script gets a text as it is, a person no control characters.
    const std::string text = shown(value.first, value.second);
    out << (::isatty(STDOUT_FILENO) != 0 ? printable(text) : text) << '\n';
}

void explain(const ExplainOptions& options, std::ostream& out) {
    const Setting setting = resolveSetting(options.name);
    requireOwn(*setting.handle);
    const auto e = settings::core::explain(*setting.itself());
    const bool isAstray =
        !e.aliasOf.empty() && settings::core::Settings::equal(setting.handle, setting.itself());
    if (options.json) {
        json::Object object = asJson(e);
        object.set("aliasLeadsNowhere", isAstray);
        out << json::writeIndented(json::Value(std::move(object))) << '\n';
        return;
    }
    out << printable(e.fullName) << '\n';
    writeLine(out, "", e.title);
    writeLine(out, "", e.description);
    writeLine(out, "alias of: ", e.aliasOf + (isAstray ? " (leads nowhere)" : ""));
    for (const auto& level : e.levels) {
        out << (level.wins ? "> " : "  ") << level.level << std::string(14 - level.level.size(), ' ')
            << printable(shown(level.value, level.isVector));
        if (!level.value.isVoid())
            out << "  [" << typeShown(level.value) << (level.isVector ? ", vector]" : "]");
        if (level.level == "session")
            out << "  (memory only)";
        else if (!level.file.empty())
            out << "  (" << printable(level.file) << (level.fileExists ? ")" : ", no such file yet)");
        out << '\n';
    }
    out << "  flags: " << (e.visible ? "visible" : "hidden") << ", "
        << (e.readOnly ? "read-only" : "writable") << ", defined on level \"" << e.originLevel << "\"\n";
    for (const std::string& validator : e.validators)
        writeLine(out, e.validators.size() == 1 ? "must be: " : "may be: ", validator);
    writeLine(out, "checked by: ", e.validationFunction);
    writeLine(out, "default computed by: ", e.runTimeDefault);
}

} // namespace vksettings
