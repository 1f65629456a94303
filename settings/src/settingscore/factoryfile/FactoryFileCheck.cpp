#include "settingscore/factoryfile/FactoryFileCheck.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/DefinedTree.hpp"
#include "settingscore/factoryfile/DefinitionKeys.hpp"
#include "settingscore/factoryfile/Findings.hpp"
#include "settingscore/factoryfile/ValueCheck.hpp"
#include "settingscore/settings/file/GroupJson.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/ValidatorJson.hpp"
#include "settingscore/settings/node/FullNamePath.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/release/Release.hpp"

#include <algorithm>
#include <array>

namespace varnek::settings {

using namespace ::settings::core::detail; // NOLINT: this namespace hides the library's own
using varnek::release::ReleaseLabel;

namespace {

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// What the languages of the front ends take for a name.
bool isVariableName(std::string_view name) {
    return !name.empty() && isLetter(name.front()) && std::all_of(name.begin(), name.end(), [](char c) {
        return isLetter(c) || (c >= '0' && c <= '9') || c == '_';
    });
}

/// Whether programs find the node: to them, every dot of a full name parts two names.
bool isFollowable(const GroupRecord& top, std::string_view fullName) {
    const GroupRecord* group = &top;
    bool isFound = nextName(fullName) == top.name;
    while (isFound && fullName.find('.') != std::string_view::npos) {
        const std::string_view name = nextName(fullName);
        const auto child = std::find_if(group->groups.begin(), group->groups.end(),
                                        [name](const GroupRecord& record) { return record.name == name; });
        isFound = child != group->groups.end();
        if (isFound)
            group = &*child;
    }
    return isFound && std::any_of(group->settings.begin(), group->settings.end(),
                                  [&](const SettingRecord& record) { return record.name == fullName; });
}

class Check : Findings {
  public:
    explicit Check(const SettingsFileContent& content) : content_(content), top_(content.tree) {}

    std::vector<FactoryFileFinding> run() {
        visit(top_, top_.name);
        for (std::size_t i = 0; i < content_.upgraders.size(); ++i)
            checkUpgrader(i);
        return std::move(findings_);
    }

  private:
    // ---- groups and settings ----

    void visit(const GroupRecord& group, const std::string& fullName) {
        checkName(group.name, fullName);
        if (group.definition != nullptr && group.definition->validator.which() != 0)
            note(FindingKind::function, fullName, "has a validation function, which was not called");
        for (const SettingRecord& setting : group.settings)
            checkSetting(setting, fullName + "." + setting.name);
        for (const GroupRecord& child : group.groups)
            visit(child, fullName + "." + child.name);
    }

    void checkName(const std::string& name, const std::string& fullName) {
        if (!isReadableName(name))
            fail(FindingKind::name, fullName, "is not valid UTF-8");
        else if (!isVariableName(name))
            note(FindingKind::name, fullName,
                 inQuotes(name) + " is no name in the application's language: a letter, then letters, digits "
                                  "and \"_\"");
    }

    void checkSetting(const SettingRecord& setting, const std::string& fullName) {
        checkName(setting.name, fullName);
        const auto& validators = validatorsOf(setting);
        reportContradictions(
            validators, {}, validators.size() != 1, [&](const std::string& path, const std::string& rule) {
                fail(FindingKind::validator, fullName,
                     std::string(path.starts_with('.') ? path.substr(1) : path) + " " + rule);
            });
        if (!setting.value.first.isVoid())
            if (const auto refusal = refusalOf(validators, setting.value.first))
                fail(FindingKind::value, fullName, *refusal);
        if (setting.definition == nullptr)
            return;
        if (setting.definition->validator.which() != 0)
            note(FindingKind::function, fullName, "has a validation function, which was not called");
        if (setting.definition->factoryValueFcn.which() != 0)
            note(FindingKind::function, fullName,
                 setting.value.first.isVoid()
                     ? "has a run-time default, which was not called"
                     : "has a run-time default that is never asked for, since there is a value");
        checkAlias(setting.definition->aliasName, fullName);
    }

    void checkAlias(const std::string& alias, const std::string& fullName) {
        if (alias.empty())
            return;
        const std::string what = "stands for " + inQuotes(alias);
        if (firstName(alias) != top_.name && !isAtOrBelow(alias, top_.name))
            return note(FindingKind::alias, fullName, what + ", which another factory file has to define");
        const DefinedNode target = findDefined(top_, alias);
        if (alias == fullName)
            fail(FindingKind::alias, fullName, "stands for itself");
        else if (!target)
            fail(FindingKind::alias, fullName, what + ", which is not defined");
        else if (target.setting == nullptr)
            fail(FindingKind::alias, fullName, what + ", which is a group");
        else if (!isFollowable(top_, alias))
            fail(FindingKind::alias, fullName, what + ", where a name has a dot: no alias leads there");
        else if (!aliasOf(*target.setting).empty())
            fail(FindingKind::alias, fullName,
                 what + ", which is an alias itself: only one step is followed");
    }

    // ---- upgraders ----

    std::string nameOfUpgrader(std::size_t index) const {
        const std::string label = shownLabel(content_.upgraders[index]);
        return label.empty() ? "upgrader " + std::to_string(index + 1) : "upgrader " + label;
    }

    void checkUpgrader(std::size_t index) {
        const UpgraderRecord& upgrader = content_.upgraders[index];
        const std::string name = nameOfUpgrader(index);
        checkLabel(index, name);
        if (upgrader.changes.empty())
            note(FindingKind::upgrader, name, "has no changes");
        for (std::size_t i = 0; i < upgrader.changes.size(); ++i)
            checkChange(index, i, name + ", change " + std::to_string(i + 1));
    }

    void checkLabel(std::size_t index, const std::string& name) {
        const auto label = ReleaseLabel::parse(content_.upgraders[index].versionLabel);
        if (!label)
            return fail(FindingKind::upgrader, name, "its label is none of a release, such as \"R2025a\"");
        const auto before =
            index == 0 ? std::nullopt : ReleaseLabel::parse(content_.upgraders[index - 1].versionLabel);
        if (before && *label < *before)
            fail(FindingKind::upgrader, name, "stands behind that of the later release " + before->text());
        if (before && *label == *before)
            note(FindingKind::upgrader, name, "is the second one of its release");
    }

    void checkChange(std::size_t upgrader, std::size_t index, const std::string& name) {
        const ChangeRecord& change = content_.upgraders[upgrader].changes[index];
        const bool isMove = change.operation == keys::move;
        if (!isMove && change.operation != keys::remove)
            return fail(FindingKind::upgrader, name,
                        "the operation is \"move\" or \"remove\", not " + inQuotes(change.operation));
        if (change.inputs.size() != 1 || change.outputs.size() != (isMove ? 1U : 0U))
            return fail(FindingKind::upgrader, name,
                        isMove ? "a move has one input and one output" : "a removal has one input only");
        const std::string& from = change.inputs.front();
        if (!isPath(from) || !isAtOrBelow(from, top_.name) || from == top_.name)
            return fail(FindingKind::upgrader, name,
                        inQuotes(from) + " is not the full name of something below " + inQuotes(top_.name));
        if (isMove)
            checkMove({upgrader, index}, from, change.outputs.front(), name);
        const DefinedNode still = findDefined(top_, from);
        const bool isAlias = still.setting != nullptr && !aliasOf(*still.setting).empty();
        const bool isAbove = still.group != nullptr && isMove && isAtOrBelow(change.outputs.front(), from);
        if (still && !isAlias && !isAbove) // an alias leads callers of the old name to the new place
            note(FindingKind::upgrader, name, inQuotes(from) + " is still defined");
    }

    struct Place {
        std::size_t upgrader;
        std::size_t change;
    };

    void checkMove(Place place, const std::string& from, const std::string& to, const std::string& name) {
        if (!isPath(to) || to == top_.name)
            return fail(FindingKind::upgrader, name,
                        inQuotes(to) + " is not the full name of a setting or group");
        if (to == from)
            return fail(FindingKind::upgrader, name, inQuotes(from) + " is moved to itself");
        const auto end = followed(to, content_.upgraders, place.upgrader, place.change + 1);
        if (!end)
            return; // a later change removes it
        const std::string what = inQuotes(from) + " comes to " + inQuotes(*end);
        if (!isAtOrBelow(*end, top_.name))
            note(FindingKind::upgrader, name, what + ", which another factory file has to define");
        else if (!findDefined(top_, *end))
            fail(FindingKind::upgrader, name, what + ", which is not defined");
    }

    /// Names that are not empty, joined by dots.
    static bool isPath(std::string_view path) {
        return !path.empty() && path.front() != '.' && path.back() != '.' &&
               path.find("..") == std::string_view::npos;
    }

    const SettingsFileContent& content_;
    const GroupRecord& top_;
};

} // namespace

std::string_view nameOf(FindingKind kind) noexcept {
    constexpr std::array<std::string_view, 17> names = {
        "name",  "value",    "validator", "function", "alias", "upgrader",     "group",    "removed", "added",
        "moved", "nodeKind", "type",      "shape",    "range", "defaultValue", "readOnly", "visible"};
    return names[static_cast<std::size_t>(kind)];
}

std::vector<FactoryFileFinding> checkFactoryFile(const std::filesystem::path& file) {
    const SettingsFileContent content = readFactoryFile(file);
    return Check(content).run();
}

} // namespace varnek::settings
