#include "settingscore/settings/root/RootStates.hpp"

#include <tbb/concurrent_hash_map.h>

#include <mutex>
#include <set>

namespace settings::core::detail {

using RootState = boost::shared_ptr<SettingsRootStateMgr>;
// The ordinary allocator: leak checkers do not look for pointers in the memory of oneTBB's own.
using StateMap = tbb::concurrent_hash_map<std::int32_t, RootState, tbb::tbb_hash_compare<std::int32_t>,
                                          std::allocator<std::pair<const std::int32_t, RootState>>>;

/// oneTBB's map cannot be walked while others change it: the indices stand beside it.
struct RootStates::Map : StateMap {
    std::mutex mutex; // rank "root indices"
    std::set<std::int32_t> indices;
};

RootStates::RootStates() : map_(new Map) {}
RootStates::~RootStates() = default;

RootStates& RootStates::instance() {
    // Never destroyed: threads may still read settings while the process ends.
    static RootStates* const states = new RootStates;
    return *states;
}

boost::shared_ptr<SettingsRootStateMgr> RootStates::find(std::int32_t index) const {
    Map::const_accessor found;
    return map_->find(found, index) ? found->second : nullptr;
}

std::optional<RootState> RootStates::lookUp(std::int32_t index) const {
    Map::const_accessor found;
    return map_->find(found, index) ? std::optional(found->second) : std::nullopt;
}

bool RootStates::insert(std::int32_t index, boost::shared_ptr<SettingsRootStateMgr> state) {
    if (!map_->insert({index, std::move(state)}))
        return false;
    const std::lock_guard lock(map_->mutex);
    map_->indices.insert(index);
    return true;
}

/// What it replaces is let go without the lock of the entry.
void RootStates::replace(std::int32_t index, RootState state) noexcept {
    Map::accessor found;
    if (map_->find(found, index))
        found->second.swap(state);
}

bool RootStates::erase(std::int32_t index) {
    return map_->erase(index);
}

std::vector<RootState> RootStates::all() const {
    std::set<std::int32_t> indices; // of trees that are gone as well: an index is used again
    {
        const std::lock_guard lock(map_->mutex);
        indices = map_->indices;
    }
    std::vector<RootState> states;
    for (const std::int32_t index : indices)
        if (RootState state = find(index))
            states.push_back(std::move(state));
    return states;
}

} // namespace settings::core::detail
