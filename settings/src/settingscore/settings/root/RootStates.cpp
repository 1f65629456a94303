#include "settingscore/settings/root/RootStates.hpp"

#include <tbb/concurrent_hash_map.h>

namespace settings::core::detail {

using RootState = boost::shared_ptr<SettingsRootStateMgr>;
// The ordinary allocator: leak checkers do not look for pointers in the memory of oneTBB's own.
using StateMap = tbb::concurrent_hash_map<std::int32_t, RootState, tbb::tbb_hash_compare<std::int32_t>,
                                          std::allocator<std::pair<const std::int32_t, RootState>>>;

struct RootStates::Map : StateMap {};

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

bool RootStates::insert(std::int32_t index, boost::shared_ptr<SettingsRootStateMgr> state) {
    return map_->insert({index, std::move(state)});
}

bool RootStates::erase(std::int32_t index) {
    return map_->erase(index);
}

} // namespace settings::core::detail
