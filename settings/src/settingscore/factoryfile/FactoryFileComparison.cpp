#include "settingscore/factoryfile/DefinedTree.hpp"
#include "settingscore/factoryfile/Findings.hpp"
#include "settingscore/factoryfile/ValidatorCover.hpp"
#include "settingscore/settings/file/FunctionMembers.hpp"
#include "settingscore/validation/InWords.hpp"
#include "varnek/files/PathText.hpp"
#include "json/ArrayConversion.hpp"
#include "json/Writer.hpp"

#include <set>

namespace varnek::settings {

using namespace ::settings::core::detail; // NOLINT: this namespace hides the library's own
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
        words += (words.empty() ? "" : "; or ") + inWords(validator);
    return words.empty() ? "any value" : words;
}

struct Digits {
    int bits; // of whole numbers that are held exactly, without the sign
    bool isSigned;
    bool isFloat;
};

Digits digitsOf(TypeCode type) {
    switch (type) {
    case TypeCode::int8:
        return {7, true, false};
    case TypeCode::uint8:
        return {8, false, false};
    case TypeCode::int16:
        return {15, true, false};
    case TypeCode::uint16:
        return {16, false, false};
    case TypeCode::int32:
        return {31, true, false};
    case TypeCode::uint32:
        return {32, false, false};
    case TypeCode::int64:
        return {63, true, false};
    case TypeCode::uint64:
        return {64, false, false};
    case TypeCode::float32:
        return {24, true, true};
    case TypeCode::float64:
        return {53, true, true};
    default:
        return {0, false, false};
    }
}

bool isText(TypeCode type) {
    return type == TypeCode::character || type == TypeCode::string;
}

/// Whether every value of the one type is a value of the other.
bool holds(TypeCode wide, TypeCode narrow) {
    if (isText(wide) && isText(narrow))
        return true;
    const Digits a = digitsOf(wide), b = digitsOf(narrow);
    return b.bits != 0 && a.bits >= b.bits && (a.isSigned || !b.isSigned) && (a.isFloat || !b.isFloat);
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
        compareGroup(released_.tree, released_.tree.name);
        listAdded(next_.tree, next_.tree.name);
        compareUpgraders();
        return std::move(findings_);
    }

  private:
    // ---- groups and settings ----

    void compareGroup(const GroupRecord& group, const std::string& fullName) {
        if (group.settings.empty() && group.groups.empty())
            compareEmptyGroup(fullName);
        for (const SettingRecord& setting : group.settings)
            compareSetting(setting, fullName + "." + setting.name);
        for (const GroupRecord& child : group.groups)
            compareGroup(child, fullName + "." + child.name);
        if (const GroupRecord* const now = findDefined(next_.tree, fullName).group) {
            compareFlags(group, *now, fullName);
            if (validationFunction(group) != validationFunction(*now))
                note(FindingKind::function, fullName, "has another validation function");
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
        if (!now) {
            note(FindingKind::removed, fullName, "is removed by an upgrader, with its personal values");
            return;
        }
        const bool isMoved = *now != fullName;
        if (isMoved)
            note(FindingKind::moved, fullName, "comes to " + inQuotes(*now));
        seen_.insert(*now);
        if (!isAtOrBelow(*now, next_.tree.name))
            return; // in another factory file
        const DefinedNode found = findDefined(next_.tree, *now);
        if (!found)
            fail(FindingKind::removed, fullName,
                 isMoved ? "comes to " + inQuotes(*now) + ", which is not defined"
                         : "is gone, and no upgrader moves or removes its personal values");
        else if (found.setting == nullptr)
            fail(FindingKind::nodeKind, *now, "was a setting and is a group");
        else
            compareDefinitions(before, *found.setting, *now);
    }

    void compareDefinitions(const SettingRecord& before, const SettingRecord& now, const std::string& name) {
        compareFlags(before, now, name);
        if (aliasOf(before) != aliasOf(now)) {
            compareAliases(aliasOf(before), aliasOf(now), name);
            return;
        }
        compareValues(before, now, name);
        compareRanges(before, now, name);
        compareFunctions(before, now, name);
    }

    void compareAliases(const std::string& before, const std::string& now, const std::string& name) {
        if (before.empty())
            fail(FindingKind::alias, name,
                 "stands for " + inQuotes(now) + " now, and no upgrader moves its personal values there");
        else if (now.empty())
            note(FindingKind::alias, name,
                 "stood for " + inQuotes(before) + " and is a setting of its own now");
        else
            note(FindingKind::alias, name,
                 "stands for " + inQuotes(now) + ", no longer for " + inQuotes(before));
    }

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
        holds(now, before) ? note(FindingKind::type, name, what + ", which holds all values of the other")
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
    void compareFlags(const Record& before, const Record& now, const std::string& name) {
        using ::settings::core::ReadOnlyState;
        const bool wasReadOnly = before.readOnly == ReadOnlyState::readOnly;
        const bool isReadOnly = now.readOnly == ReadOnlyState::readOnly;
        if (!wasReadOnly && isReadOnly)
            fail(FindingKind::readOnly, name, "could be changed and is read-only");
        if (wasReadOnly && !isReadOnly)
            note(FindingKind::readOnly, name, "was read-only and can be changed");
        if (before.visible != now.visible)
            note(FindingKind::visible, name,
                 now.visible ? "was hidden and is shown" : "was shown and is hidden");
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
    std::set<std::string, std::less<>> seen_; // where settings of the released file are now
};

} // namespace

std::vector<FactoryFileFinding> compareFactoryFiles(const std::filesystem::path& released,
                                                    const std::filesystem::path& next) {
    const SettingsFileContent before = readFactoryFile(released);
    const SettingsFileContent now = readFactoryFile(next);
    return Comparison(before, now).run();
}

} // namespace varnek::settings
