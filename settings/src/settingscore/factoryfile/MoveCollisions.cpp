#include "settingscore/factoryfile/MoveCollisions.hpp"

#include "settingscore/factoryfile/DefinedTree.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"

#include <utility>

namespace settings::core::detail {

namespace {

/// The value of one setting on its way.
struct Traveller {
    std::string released;
    std::string now;
};

using Travellers = std::vector<Traveller>;

/// Aliases have no values of their own.
void collect(const GroupRecord& group, const std::string& fullName, Travellers& all) {
    for (const SettingRecord& setting : group.settings)
        if (aliasOf(setting).empty())
            all.push_back({fullName + "." + setting.name, fullName + "." + setting.name});
    for (const GroupRecord& child : group.groups)
        collect(child, fullName + "." + child.name, all);
}

/// Nothing when the move finds its place free.
std::optional<MoveCollision> move(const std::string& from, const std::string& to, Travellers& all) {
    MoveCollision collision{{}, to, {}, 0};
    for (Traveller& each : all) {
        if (isAtOrBelow(each.now, from)) {
            if (collision.moved.empty())
                collision.moved = each.now == from ? each.released : from;
        } else if (isAtOrBelow(each.now, to) || isAtOrBelow(to, each.now)) {
            if (collision.inTheWay.empty())
                collision.inTheWay = each.released;
            else
                ++collision.others;
        }
    }
    for (Traveller& each : all) // for those who have not set what is in the way
        if (isAtOrBelow(each.now, from))
            each.now = to + each.now.substr(from.size());
    if (collision.moved.empty() || collision.inTheWay.empty())
        return std::nullopt;
    return collision;
}

} // namespace

std::vector<MoveCollision> collisionsOf(const GroupRecord& released,
                                        const std::vector<UpgraderRecord>& upgraders, std::size_t first) {
    std::vector<MoveCollision> found;
    Travellers all;
    collect(released, released.name, all);
    for (std::size_t i = first; i < upgraders.size(); ++i)
        for (const ChangeRecord& change : upgraders[i].changes) {
            if (change.inputs.size() != 1)
                continue;
            const std::string& from = change.inputs.front();
            if (change.operation == keys::remove)
                std::erase_if(all, [&](const Traveller& each) { return isAtOrBelow(each.now, from); });
            else if (change.operation == keys::move && change.outputs.size() == 1)
                if (auto collision = move(from, change.outputs.front(), all))
                    found.push_back(std::move(*collision));
        }
    return found;
}

} // namespace settings::core::detail
