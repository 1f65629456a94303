#include "settingscore/settings/file/SettingsFileContent.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace settings::core::detail {

namespace {

std::unique_ptr<NodeDefinition> copyOf(const std::unique_ptr<NodeDefinition>& definition) {
    return definition == nullptr ? nullptr : std::make_unique<NodeDefinition>(*definition);
}

constexpr auto byName = [](const auto& a, const auto& b) { return a.name < b.name; };

template <class Record>
Record* find(std::vector<Record>& records, const std::string& name) {
    const auto found =
        std::find_if(records.begin(), records.end(), [&](const Record& r) { return r.name == name; });
    return found == records.end() ? nullptr : &*found;
}

} // namespace

SettingRecord SettingRecord::clone() const {
    return {name, value, readOnly, visible, isUserDefined, copyOf(definition)};
}

bool GroupRecord::isEmpty() const noexcept {
    return settings.empty() && std::all_of(groups.begin(), groups.end(), [](const GroupRecord& group) {
               return !group.isUserDefined && group.isEmpty();
           });
}

bool GroupRecord::changesValueOf(const GroupRecord& before) const noexcept {
    const auto anyOfBoth = [](const auto& now, const auto& then, const auto& differs) {
        auto other = then.begin();
        return std::any_of(now.begin(), now.end(), [&](const auto& record) {
            while (other != then.end() && other->name < record.name)
                ++other;
            return other != then.end() && other->name == record.name && differs(record, *other);
        });
    };
    return anyOfBoth(settings, before.settings,
                     [](const auto& now, const auto& then) { return now.value.first != then.value.first; }) ||
           anyOfBoth(groups, before.groups,
                     [](const auto& now, const auto& then) { return now.changesValueOf(then); });
}

GroupRecord GroupRecord::clone() const {
    GroupRecord copy{name, readOnly, visible, isUserDefined, copyOf(definition)};
    copy.version = version;
    copy.settings.reserve(settings.size());
    for (const SettingRecord& setting : settings)
        copy.settings.push_back(setting.clone());
    copy.groups.reserve(groups.size());
    for (const GroupRecord& group : groups)
        copy.groups.push_back(group.clone());
    return copy;
}

void GroupRecord::removeSame(const GroupRecord& other) {
    const auto called = [](const auto& records, const std::string& of) {
        const auto found = std::find_if(records.begin(), records.end(),
                                        [&](const auto& record) { return record.name == of; });
        return found == records.end() ? nullptr : &*found;
    };
    std::erase_if(settings, [&](const SettingRecord& setting) {
        const SettingRecord* const same = called(other.settings, setting.name);
        return same != nullptr && same->value == setting.value;
    });
    std::erase_if(groups, [&](GroupRecord& group) {
        const GroupRecord* const same = called(other.groups, group.name);
        if (same == nullptr)
            return false;
        group.removeSame(*same);
        group.isUserDefined = group.isUserDefined && !same->isUserDefined;
        return group.isEmpty();
    });
}

bool GroupRecord::remove(std::span<const std::string> path) {
    if (path.size() > 1) {
        GroupRecord* const next = find(groups, path.front());
        return next != nullptr && next->remove(path.subspan(1));
    }
    const auto isNamed = [&](const auto& record) { return !path.empty() && record.name == path.front(); };
    return std::erase_if(settings, isNamed) + std::erase_if(groups, isNamed) != 0;
}

void GroupRecord::addMissing(GroupRecord other) {
    std::set<std::string, std::less<>> taken;
    for (const SettingRecord& setting : settings)
        taken.insert(setting.name);
    for (SettingRecord& setting : other.settings)
        if (!taken.contains(setting.name) && find(groups, setting.name) == nullptr)
            settings.push_back(std::move(setting));
    for (GroupRecord& group : other.groups) {
        if (GroupRecord* known = find(groups, group.name))
            known->addMissing(std::move(group));
        else if (!taken.contains(group.name))
            groups.push_back(std::move(group));
    }
    std::sort(settings.begin(), settings.end(), byName);
    std::sort(groups.begin(), groups.end(), byName);
}

} // namespace settings::core::detail
