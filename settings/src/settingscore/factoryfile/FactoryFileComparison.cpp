#include "settingscore/factoryfile/DefinedTree.hpp"
#include "settingscore/factoryfile/Findings.hpp"
#include "settingscore/factoryfile/MoveCollisions.hpp"
#include "settingscore/factoryfile/TypeCover.hpp"
#include "settingscore/factoryfile/ValidatorCover.hpp"
#include "settingscore/settings/file/FunctionMembers.hpp"
#include "settingscore/validation/InWords.hpp"
#include "varnek/files/PathText.hpp"
#include "json/ArrayConversion.hpp"
#include "json/Writer.hpp"

#include <algorithm>
#include <map>
#include <set>

namespace varnek::settings {

using namespace ::settings::core::detail; // NOLINT: this namespace hides the library's own
using ::settings::core::ReadOnlyState;
using varnek::data::TypeCode;

namespace {

std::string shown(const varnek::data::Array& value) {
    constexpr std::size_t longest = 60;
    if (value.isVoid())
        return "nothing";
    const varnek::json::Value typed = varnek::json::toTyped(value);
    const varnek::json::Value* const data = typed.asObject().find(varnek::json::typedDataKey);
    const std::string text = varnek::json::write(data == nullptr ? typed : *data);
    if (text.size() <= longest)
        return text;
    std::size_t cut = longest;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
        --cut; // not within a character
    return text.substr(0, cut) + "...";
}

std::string inWords(const std::vector<::settings::core::SettingValueValidator::ConfigData>& validators) {
    std::string words;
    for (const auto& validator : validators)
        words += (words.empty() ? "" : "; or ") + ::settings::core::inWords(validator);
    return words.empty() ? "any value" : words;
}

class Comparison : Findings {
  public:
    Comparison(const SettingsFileContent& released, const SettingsFileContent& next)
        : released_(released), next_(next) {}

    std::vector<FactoryFileFinding> run() {
        if (released_.tree.name != next_.tree.name) {
            fail(FindingKind::group, released_.tree.name, "is called " + inQuotes(next_.tree.name) + " now");
            return std::move(findings_);
        }
        noteReadOnly(released_.tree, false);
        noteReadOnly(next_.tree, false);
        compareGroup(released_.tree, released_.tree.name);
        listCollisions();
        listAdded(next_.tree, next_.tree.name);
        compareUpgraders();
        return std::move(findings_);
    }

  private:
    struct Named {
        const SettingRecord* setting;
        std::string fullName;
    };

    // ---- groups and settings ----

    void compareGroup(const GroupRecord& group, const std::string& fullName) {
        if (group.settings.empty() && group.groups.empty())
            compareEmptyGroup(fullName);
        for (const SettingRecord& setting : group.settings)
            compareSetting(setting, fullName + "." + setting.name);
        for (const GroupRecord& child : group.groups)
            compareGroup(child, fullName + "." + child.name);
        const auto now = followedName(fullName);
        if (const GroupRecord* const same = now ? findDefined(next_.tree, *now).group : nullptr) {
            compareReadOnlyGroups({&group, fullName}, {same, *now});
            compareVisible(group, *same, *now);
            if (validationFunction(group) != validationFunction(*same))
                note(FindingKind::function, *now, "has another validation function");
        }
    }

    /// Of others their contents tell.
    void compareEmptyGroup(const std::string& fullName) {
        const auto now = followedName(fullName);
        if (now && isAtOrBelow(*now, next_.tree.name) && !findDefined(next_.tree, *now))
            note(FindingKind::removed, fullName, "is gone; it was empty");
    }

    std::optional<std::string> followedName(const std::string& fullName) const {
        return followed(fullName, next_.upgraders, released_.upgraders.size());
    }

    void compareSetting(const SettingRecord& before, const std::string& fullName) {
        const auto now = followedName(fullName);
        if (!now)
            note(FindingKind::removed, fullName, "is removed by an upgrader, with its personal values");
        else if (*now != fullName)
            note(FindingKind::moved, fullName, "comes to " + inQuotes(*now));
        if (now)
            comparePlace(before, fullName, *now);
        if (now != fullName)
            compareRedefined(before, fullName);
    }

    /// Where the personal values of a setting are now.
    void comparePlace(const SettingRecord& before, const std::string& fullName, const std::string& now) {
        seen_.insert(now);
        if (!isAtOrBelow(now, next_.tree.name))
            return; // in another factory file
        const DefinedNode found = findDefined(next_.tree, now);
        if (!found)
            fail(FindingKind::removed, fullName,
                 now != fullName ? "comes to " + inQuotes(now) + ", which is not defined"
                                 : "is gone, and no upgrader moves or removes its personal values");
        else if (found.setting == nullptr)
            fail(FindingKind::nodeKind, now, "was a setting and is a group");
        else
            compareNodes({&before, fullName}, {found.setting, now});
    }

    void compareNodes(const Named& before, const Named& now) {
        compareVisible(*before.setting, *now.setting, now.fullName);
        if (aliasOf(*before.setting) == aliasOf(*now.setting))
            compareDefinitions(*before.setting, *now.setting, now.fullName);
        else
            compareAliases(before, now);
    }

    /// A name whose personal values have left it still means something to programs.
    void compareRedefined(const SettingRecord& before, const std::string& fullName) {
        const SettingRecord* const now = findDefined(next_.tree, fullName).setting;
        if (now != nullptr &&
            !areSame(behindAlias(released_, {&before, fullName}), behindAlias(next_, {now, fullName}))) {
            note(FindingKind::added, fullName, "is defined anew, without the personal values it had");
            compareVisible(before, *now, fullName);
            compareBehindAliases({&before, fullName}, {now, fullName});
        }
    }

    void compareDefinitions(const SettingRecord& before, const SettingRecord& now, const std::string& name) {
        compareReadOnly(before.readOnly == ReadOnlyState::readOnly, now.readOnly == ReadOnlyState::readOnly,
                        name);
        compareValues(before, now, name);
        compareRanges(before, now, name);
        compareFunctions(before, now, name);
    }

    // ---- aliases ----

    /// What reads and sets of a name reach; no setting when another factory file defines it.
    static Named behindAlias(const SettingsFileContent& file, const Named& named) {
        const std::string alias = aliasOf(*named.setting);
        return alias.empty() ? named : Named{findDefined(file.tree, alias).setting, alias};
    }

    /// Whether the personal values of the one are those of the other now, so that both are compared there.
    bool areSame(const Named& before, const Named& now) const {
        return followedName(before.fullName) == now.fullName;
    }

    void compareAliases(const Named& before, const Named& now) {
        const std::string was = aliasOf(*before.setting), is = aliasOf(*now.setting);
        if (was.empty())
            fail(FindingKind::alias, now.fullName,
                 "stands for " + inQuotes(is) + " now, and no upgrader moves its personal values there");
        else if (is.empty())
            note(FindingKind::alias, now.fullName,
                 "stood for " + inQuotes(was) + " and is a setting of its own now");
        else
            note(FindingKind::alias, now.fullName,
                 "stands for " + inQuotes(is) + ", no longer for " + inQuotes(was));
        compareBehindAliases(before, now);
    }

    /// What programs find under a name that means another setting now.
    void compareBehindAliases(const Named& before, const Named& now) {
        const Named was = behindAlias(released_, before), is = behindAlias(next_, now);
        if (was.setting != nullptr && is.setting != nullptr && !areSame(was, is))
            compareDefinitions(*was.setting, *is.setting, now.fullName);
    }

    // ---- definitions ----

    using Shaped = std::pair<varnek::data::Array, bool>;

    void compareValues(const SettingRecord& was, const SettingRecord& is, const std::string& name) {
        const Shaped& before = was.value;
        const Shaped& now = is.value;
        const bool isComputed = hasRunTimeDefault(is);
        if (now.first.isVoid() && before.first.isVoid() && hasRunTimeDefault(was) && !isComputed)
            fail(FindingKind::defaultValue, name, "the default was computed, there is none now");
        if (before.first == now.first && before.second == now.second)
            return;
        if (now.first.isVoid()) {
            const std::string what = "the default was " + shown(before.first) + ", there is none now";
            isComputed ? note(FindingKind::defaultValue, name, what + "; it is computed")
                       : fail(FindingKind::defaultValue, name, what);
            return;
        }
        if (!before.first.isVoid()) {
            compareTypes(before.first.type(), now.first.type(), name);
            if (before.second != now.second)
                fail(FindingKind::shape, name,
                     before.second ? "the default was a vector, it is one value now"
                                   : "the default was one value, it is a vector now");
        }
        if (!(before.first == now.first))
            note(FindingKind::defaultValue, name,
                 "the default was " + shown(before.first) + ", it is " + shown(now.first) + " now");
    }

    void compareTypes(TypeCode before, TypeCode now, const std::string& name) {
        if (before == now)
            return;
        const std::string what = "the default was of class " + std::string(varnek::data::className(before)) +
                                 ", it is of class " + std::string(varnek::data::className(now)) + " now";
        holdsAllValues(now, before)
            ? note(FindingKind::type, name, what + ", which holds all values of the other")
            : fail(FindingKind::type, name, what);
    }

    void compareRanges(const SettingRecord& before, const SettingRecord& now, const std::string& name) {
        const auto &was = validatorsOf(before), &is = validatorsOf(now);
        if (was == is)
            return;
        const std::string what = "accepted " + inWords(was) + ", accepts " + inWords(is) + " now";
        covers(is, was) ? note(FindingKind::range, name, what) : fail(FindingKind::range, name, what);
    }

    void compareFunctions(const SettingRecord& before, const SettingRecord& now, const std::string& name) {
        const auto [validatorBefore, defaultBefore] = functionTexts(before.definition.get());
        const auto [validatorNow, defaultNow] = functionTexts(now.definition.get());
        if (validatorBefore != validatorNow)
            note(FindingKind::function, name, "has another validation function");
        if (defaultBefore != defaultNow)
            note(FindingKind::function, name, "has another run-time default");
    }

    template <class Record>
    void compareVisible(const Record& before, const Record& now, const std::string& name) {
        if (before.visible != now.visible)
            note(FindingKind::visible, name,
                 now.visible ? "was hidden and is shown" : "was shown and is hidden");
    }

    void compareReadOnly(bool before, bool now, const std::string& name) {
        if (!before && now)
            fail(FindingKind::readOnly, name, "could be changed and is read-only");
        if (before && !now)
            note(FindingKind::readOnly, name, "was read-only and can be changed");
    }

    struct NamedGroup {
        const GroupRecord* group;
        std::string fullName;

        std::string parentName() const {
            return fullName.substr(0, fullName.size() - std::min(fullName.size(), group->name.size() + 1));
        }
    };

    /// Groups go by those above them: what comes from there has been told there.
    void compareReadOnlyGroups(const NamedGroup& before, const NamedGroup& now) {
        const bool isInherited = before.group->readOnly == ReadOnlyState::inherited &&
                                 now.group->readOnly == ReadOnlyState::inherited;
        if (!isInherited || followedName(before.parentName()) != now.parentName())
            compareReadOnly(isReadOnly_.at(before.group), isReadOnly_.at(now.group), now.fullName);
    }

    void noteReadOnly(const GroupRecord& group, bool above) {
        const bool isInherited = group.readOnly == ReadOnlyState::inherited;
        const bool isReadOnly = isInherited ? above : group.readOnly == ReadOnlyState::readOnly;
        isReadOnly_[&group] = isReadOnly;
        for (const GroupRecord& child : group.groups)
            noteReadOnly(child, isReadOnly);
    }

    static bool hasRunTimeDefault(const SettingRecord& setting) {
        return setting.definition != nullptr && setting.definition->factoryValueFcn.which() != 0;
    }

    /// Validation function and run-time default, as files have them.
    static std::pair<std::string, std::string> functionTexts(const NodeDefinition* definition) {
        if (definition == nullptr)
            return {};
        const auto text = [](const FunctionMembers& functions) {
            varnek::json::Object json;
            writeFunctionMembers(functions, json);
            return json.empty() ? std::string() : varnek::json::write(json);
        };
        return {text({definition->validator, {}}), text({{}, definition->factoryValueFcn})};
    }
    static std::string validationFunction(const GroupRecord& group) {
        return functionTexts(group.definition.get()).first;
    }

    // ---- what is new ----

    void listCollisions() {
        const auto others = [](std::size_t count) {
            return count == 0   ? std::string()
                   : count == 1 ? " or one other"
                                : " or one of " + std::to_string(count) + " others";
        };
        for (const MoveCollision& each :
             collisionsOf(released_.tree, next_.upgraders, released_.upgraders.size()))
            fail(FindingKind::moved, each.moved,
                 "cannot come to " + inQuotes(each.to) + " for users who have set " +
                     inQuotes(each.inTheWay) + others(each.others) +
                     ": their values of it stay behind, unseen");
    }

    void listAdded(const GroupRecord& group, const std::string& fullName) {
        for (const SettingRecord& setting : group.settings) {
            const std::string name = fullName + "." + setting.name;
            if (seen_.contains(name))
                continue;
            const DefinedNode before = findDefined(released_.tree, name);
            if (before.group != nullptr)
                fail(FindingKind::nodeKind, name, "was a group and is a setting");
            else if (before.setting == nullptr)
                note(FindingKind::added, name, "is new");
        }
        for (const GroupRecord& child : group.groups)
            listAdded(child, fullName + "." + child.name);
    }

    // ---- upgraders ----

    /// Personal files count the upgraders and changes they have been through: what was released stays.
    void compareUpgraders() {
        const auto &before = released_.upgraders, &now = next_.upgraders;
        for (std::size_t i = 0; i < before.size(); ++i) {
            const std::string name = "upgrader " + shownLabel(before[i]);
            if (i >= now.size())
                fail(FindingKind::upgrader, name, "is gone; released upgraders are never taken out");
            else if (now[i].versionLabel != before[i].versionLabel)
                fail(FindingKind::upgrader, name,
                     "has upgrader " + shownLabel(now[i]) + " in its place; released ones keep their places");
            else
                compareChanges(before[i].changes, now[i].changes, name);
        }
        for (std::size_t i = before.size(); i < now.size(); ++i)
            note(FindingKind::upgrader, "upgrader " + shownLabel(now[i]), "is new");
    }

    void compareChanges(const std::vector<ChangeRecord>& before, const std::vector<ChangeRecord>& now,
                        const std::string& name) {
        for (std::size_t i = 0; i < before.size(); ++i) {
            const std::string change = name + ", change " + std::to_string(i + 1);
            if (i >= now.size())
                fail(FindingKind::upgrader, change, "is gone; released changes are never taken out");
            else if (!(now[i] == before[i]))
                fail(FindingKind::upgrader, change, "is another one now; released changes are never changed");
        }
        if (now.size() > before.size())
            fail(FindingKind::upgrader, name,
                 "was released with " + std::to_string(before.size()) +
                     (before.size() == 1 ? " change and has " : " changes and has ") +
                     std::to_string(now.size()) +
                     " now: personal files that have been through it never see the others; they belong "
                     "into a new upgrader");
    }

    const SettingsFileContent& released_;
    const SettingsFileContent& next_;
    std::set<std::string, std::less<>> seen_;       // where settings of the released file are now
    std::map<const GroupRecord*, bool> isReadOnly_; // of the groups of both files, with what is inherited
};

} // namespace

std::vector<FactoryFileFinding> compareFactoryFiles(const std::filesystem::path& released,
                                                    const std::filesystem::path& next) {
    const SettingsFileContent before = readFactoryFile(released);
    const SettingsFileContent now = readFactoryFile(next);
    return Comparison(before, now).run();
}

} // namespace varnek::settings
