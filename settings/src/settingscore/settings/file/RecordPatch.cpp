#include "settingscore/settings/file/RecordPatch.hpp"

#include "settingscore/settings/file/GroupJson.hpp"

#include <algorithm>

namespace settings::core::detail {

namespace {

/// In a state as it was given: sorted by name.
template <class Record>
const Record* find(const std::vector<Record>& records, const std::string& name) {
    const auto found =
        std::lower_bound(records.begin(), records.end(), name,
                         [](const Record& record, const std::string& n) { return record.name < n; });
    return found == records.end() || found->name != name ? nullptr : &*found;
}

/// In the result, while it changes.
GroupRecord* findIn(std::vector<GroupRecord>& groups, const std::string& name) {
    const auto found =
        std::find_if(groups.begin(), groups.end(), [&](const GroupRecord& g) { return g.name == name; });
    return found == groups.end() ? nullptr : &*found;
}

/// The group without what is below it.
GroupRecord shell(const GroupRecord& group) {
    GroupRecord copy{group.name, group.readOnly, group.visible, group.isUserDefined, nullptr};
    if (group.definition != nullptr)
        copy.definition = std::make_unique<NodeDefinition>(*group.definition);
    copy.version = group.version;
    return copy;
}

class Patch {
  public:
    explicit Patch(LevelIndex level) : level_(level) {}

    void apply(GroupRecord& theirs, const GroupRecord& base, const GroupRecord& ours) const {
        if (!isSameShell(base, ours))
            takeShell(theirs, ours);
        for (const SettingRecord& setting : ours.settings)
            if (!isKnown(setting, base.settings))
                put(setting, theirs);
        for (const SettingRecord& setting : base.settings)
            if (find(ours.settings, setting.name) == nullptr)
                drop(setting.name, theirs.settings);
        for (const GroupRecord& group : ours.groups)
            applyToGroup(theirs, find(base.groups, group.name), group);
        for (const GroupRecord& group : base.groups)
            if (find(ours.groups, group.name) == nullptr)
                remove(theirs, group);
        sort(theirs.settings);
        sort(theirs.groups);
    }

    bool isSame(const GroupRecord& a, const GroupRecord& b) const {
        const auto isSettingSame = [&](const SettingRecord& setting) { return isKnown(setting, a.settings); };
        const auto isGroupSame = [&](const GroupRecord& group) {
            const GroupRecord* const other = find(a.groups, group.name);
            return other != nullptr && isSame(*other, group);
        };
        return isSameShell(a, b) && a.settings.size() == b.settings.size() &&
               a.groups.size() == b.groups.size() &&
               std::all_of(b.settings.begin(), b.settings.end(), isSettingSame) &&
               std::all_of(b.groups.begin(), b.groups.end(), isGroupSame);
    }

  private:
    void applyToGroup(GroupRecord& theirs, const GroupRecord* base, const GroupRecord& ours) const {
        GroupRecord* their = findIn(theirs.groups, ours.name);
        if (their == nullptr) {
            if (base != nullptr && isSame(*base, ours))
                return; // removed there, untouched here
            drop(ours.name, theirs.settings);
            their = &theirs.groups.emplace_back(shell(ours));
        }
        if (base == nullptr)
            apply(*their, shell(ours), ours);
        else
            apply(*their, *base, ours);
    }

    void remove(GroupRecord& theirs, const GroupRecord& base) const {
        GroupRecord* const their = findIn(theirs.groups, base.name);
        if (their == nullptr)
            return;
        apply(*their, base, shell(base));
        if (their->settings.empty() && their->groups.empty())
            drop(base.name, theirs.groups);
    }

    static void put(const SettingRecord& setting, GroupRecord& theirs) {
        drop(setting.name, theirs.settings);
        drop(setting.name, theirs.groups);
        theirs.settings.push_back(setting.clone());
    }

    static void takeShell(GroupRecord& theirs, const GroupRecord& ours) {
        GroupRecord taken = shell(ours);
        taken.settings = std::move(theirs.settings);
        taken.groups = std::move(theirs.groups);
        theirs = std::move(taken);
    }

    varnek::json::Object shellJson(const GroupRecord& group) const {
        return writeGroup(shell(group), {}, level_);
    }
    varnek::json::Object json(const SettingRecord& setting) const {
        GroupRecord around;
        around.settings.push_back(setting.clone());
        return writeGroup(around, {}, level_);
    }
    bool isSameShell(const GroupRecord& a, const GroupRecord& b) const {
        return shellJson(a) == shellJson(b);
    }
    bool isKnown(const SettingRecord& setting, const std::vector<SettingRecord>& base) const {
        const SettingRecord* const before = find(base, setting.name);
        return before != nullptr && json(*before) == json(setting);
    }
    template <class Records>
    static void drop(const std::string& name, Records& records) {
        std::erase_if(records, [&](const auto& record) { return record.name == name; });
    }
    template <class Records>
    static void sort(Records& records) {
        std::sort(records.begin(), records.end(),
                  [](const auto& a, const auto& b) { return a.name < b.name; });
    }

    LevelIndex level_;
};

} // namespace

GroupRecord patched(GroupRecord theirs, const GroupRecord& base, const GroupRecord& ours, LevelIndex level) {
    Patch(level).apply(theirs, base, ours);
    return theirs;
}

bool isSame(const GroupRecord& a, const GroupRecord& b, LevelIndex level) {
    return Patch(level).isSame(a, b);
}

} // namespace settings::core::detail
