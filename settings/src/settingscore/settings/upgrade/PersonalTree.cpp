#include "settingscore/settings/upgrade/PersonalTree.hpp"

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/settings/node/NodeNames.hpp"

#include <algorithm>
#include <span>
#include <utility>

namespace settings::core::detail {

namespace {

using VARNEK::settings::config::GroupOrSettingNameAlreadyExists;
using NameSpan = std::span<const std::string>;

template <class Records>
auto placeOf(Records& sorted, const std::string& name) {
    return std::lower_bound(sorted.begin(), sorted.end(), name,
                            [](const auto& record, const std::string& n) { return record.name < n; });
}

template <class Records>
auto* find(Records& sorted, const std::string& name) {
    const auto place = placeOf(sorted, name);
    return place != sorted.end() && place->name == name ? &*place : nullptr;
}

bool isThere(const SettingRecord& setting) {
    return setting.isUserDefined || !setting.value.first.isVoid();
}

bool isThere(const GroupRecord& group) {
    return group.isUserDefined ||
           std::any_of(group.settings.begin(), group.settings.end(),
                       [](const SettingRecord& setting) { return isThere(setting); }) ||
           std::any_of(group.groups.begin(), group.groups.end(),
                       [](const GroupRecord& below) { return isThere(below); });
}

template <class Record>
const Record* findThere(const std::vector<Record>& sorted, const std::string& name) {
    const Record* found = find(sorted, name);
    return found != nullptr && isThere(*found) ? found : nullptr;
}

/// Joins the pieces as the names of nodes that are there, which may contain dots.
bool resolveBelow(const GroupRecord& group, NameSpan pieces, std::vector<std::string>& names) {
    std::string name;
    for (std::size_t count = 1; count <= pieces.size(); ++count) {
        name += (count == 1 ? "" : ".") + pieces[count - 1];
        const GroupRecord* below = findThere(group.groups, name);
        if (count == pieces.size()) {
            names.push_back(name);
            return below != nullptr || findThere(group.settings, name) != nullptr;
        }
        if (below == nullptr)
            continue;
        names.push_back(name);
        if (resolveBelow(*below, pieces.subspan(count), names))
            return true;
        names.pop_back();
    }
    return false;
}

/// The group at `names`; null when there is none.
GroupRecord* groupAt(GroupRecord& top, NameSpan names) {
    GroupRecord* group = &top;
    for (std::size_t i = 0; group != nullptr && i < names.size(); ++i)
        group = find(group->groups, names[i]);
    return group;
}

/// Drops what is there by name only, and makes the groups on the way.
GroupRecord& makeWay(GroupRecord& top, NameSpan names) {
    GroupRecord* group = &top;
    for (const std::string& name : names) {
        if (auto empty = placeOf(group->settings, name);
            empty != group->settings.end() && empty->name == name)
            group->settings.erase(empty);
        if (find(group->groups, name) == nullptr) {
            GroupRecord made;
            made.name = name;
            group->groups.insert(placeOf(group->groups, name), std::move(made));
        }
        group = find(group->groups, name);
    }
    return *group;
}

template <class Record>
void eraseNamed(std::vector<Record>& sorted, const std::string& name) {
    const auto place = placeOf(sorted, name);
    if (place != sorted.end() && place->name == name)
        sorted.erase(place);
}

/// The names below the top-level group; nothing for a name that is not well-formed.
std::optional<std::vector<std::string>> splitBelow(const std::string& top, const std::string& fullName) {
    std::vector<std::string> names;
    std::string parent = top;
    for (std::size_t begin = top.size(); begin < fullName.size();) {
        const std::size_t end = std::min(fullName.find('.', begin + 1), fullName.size());
        names.push_back(fullName.substr(begin + 1, end - begin - 1));
        if (!isAcceptableName(names.back(), parent, false))
            return std::nullopt;
        parent = fullName.substr(0, end);
        begin = end;
    }
    return names;
}

} // namespace

// ---- names ----

std::string topLevelOf(const std::string& fullName) {
    return fullName.substr(0, fullName.find('.'));
}

bool PersonalTree::isOurs(const std::string& fullName) const {
    return fullName == group() || fullName.starts_with(group() + ".");
}

std::optional<PersonalTree::Names> PersonalTree::split(const std::string& fullName) const {
    return isOurs(fullName) ? splitBelow(group(), fullName) : std::nullopt;
}

bool PersonalTree::isWellFormed(const std::string& fullName) const {
    return splitBelow(isOurs(fullName) ? group() : topLevelOf(fullName), fullName).has_value();
}

std::optional<PersonalTree::Names> PersonalTree::resolve(const std::string& fullName) const {
    const auto pieces = split(fullName);
    Names names;
    if (!pieces || (pieces->empty() ? !isThere(values_) : !resolveBelow(values_, *pieces, names)))
        return std::nullopt;
    return names;
}

// ---- questions ----

bool PersonalTree::holds(const std::string& fullName) const {
    return resolve(fullName).has_value();
}

std::string PersonalTree::settingInTheWay(const std::string& fullName) const {
    const auto names = split(fullName).value_or(Names());
    const GroupRecord* group = &values_;
    std::string path = values_.name;
    for (std::size_t i = 0; group != nullptr && i + 1 < names.size(); ++i) {
        path += "." + names[i];
        if (findThere(group->settings, names[i]) != nullptr)
            return path;
        group = find(group->groups, names[i]);
    }
    return {};
}

bool PersonalTree::isFree(const std::string& fullName) const {
    return split(fullName).has_value() && !holds(fullName) && settingInTheWay(fullName).empty();
}

bool PersonalTree::isFreeWithout(const std::string& fullName, const std::string& leaving) {
    const auto names = resolve(leaving);
    if (!names)
        return isFree(fullName);
    DetachedNode node = detach(*names);
    const bool isFreeThen = isFree(fullName);
    attach(*names, std::move(node));
    return isFreeThen;
}

// ---- changes ----

DetachedNode PersonalTree::copyOf(const std::string& fullName) const {
    const Names names = resolve(fullName).value();
    DetachedNode copy;
    if (names.empty()) {
        copy.group = values_.clone();
        return copy;
    }
    const GroupRecord* parent = groupAt(values_, NameSpan(names).first(names.size() - 1));
    if (const SettingRecord* setting = findThere(parent->settings, names.back()))
        copy.setting = setting->clone();
    else
        copy.group = find(parent->groups, names.back())->clone();
    return copy;
}

void PersonalTree::put(const std::string& fullName, DetachedNode node) {
    const auto names = split(fullName);
    const bool isWholeFile = names && names->empty();
    if (!names || !isFree(fullName) || (isWholeFile && node.setting))
        throw GroupOrSettingNameAlreadyExists(fullName);
    attach(*names, std::move(node));
    hasChanged_ = true;
}

void PersonalTree::erase(const std::string& fullName) {
    if (const auto names = resolve(fullName)) {
        detach(*names);
        prune(*names);
        hasChanged_ = true;
    }
}

void PersonalTree::move(const std::string& from, const std::string& to) {
    const Names names = resolve(from).value();
    DetachedNode node = detach(names);
    const auto target = split(to);
    if (!target || (target->empty() && node.setting) || !isFree(to)) {
        attach(names, std::move(node));
        throw GroupOrSettingNameAlreadyExists(to);
    }
    attach(*target, std::move(node));
    hasChanged_ = true;
    if (!target->empty())
        prune(names);
}

/// Leaves the groups above as they are. Of the top-level group it takes what is in it.
DetachedNode PersonalTree::detach(const Names& names) {
    DetachedNode node;
    if (names.empty()) {
        node.group.emplace();
        node.group->settings = std::exchange(values_.settings, {});
        node.group->groups = std::exchange(values_.groups, {});
        return node;
    }
    GroupRecord& parent = *groupAt(values_, NameSpan(names).first(names.size() - 1));
    if (findThere(parent.settings, names.back()) != nullptr) {
        const auto setting = placeOf(parent.settings, names.back());
        node.setting = std::move(*setting);
        parent.settings.erase(setting);
    } else {
        const auto group = placeOf(parent.groups, names.back());
        node.group = std::move(*group);
        parent.groups.erase(group);
    }
    return node;
}

/// The place is free.
void PersonalTree::attach(const Names& names, DetachedNode node) {
    if (names.empty()) {
        values_.settings = std::move(node.group->settings);
        values_.groups = std::move(node.group->groups);
        return;
    }
    GroupRecord& parent = makeWay(values_, NameSpan(names).first(names.size() - 1));
    eraseNamed(parent.settings, names.back()); // what is there by name only
    eraseNamed(parent.groups, names.back());
    if (node.setting) {
        node.setting->name = names.back();
        parent.settings.insert(placeOf(parent.settings, names.back()), std::move(*node.setting));
    } else {
        node.group->name = names.back();
        parent.groups.insert(placeOf(parent.groups, names.back()), std::move(*node.group));
    }
}

/// Drops the groups above that have become empty.
void PersonalTree::prune(const Names& names) {
    for (std::size_t length = names.empty() ? 0 : names.size() - 1; length > 0; --length) {
        GroupRecord* parent = groupAt(values_, NameSpan(names).first(length - 1));
        GroupRecord* group = parent == nullptr ? nullptr : find(parent->groups, names[length - 1]);
        if (group == nullptr)
            continue;
        if (group->isUserDefined || !group->isEmpty())
            return;
        eraseNamed(parent->groups, names[length - 1]);
    }
}

} // namespace settings::core::detail
