#include "settingscore/settings/root/RootStates.hpp"

#include <tbb/concurrent_hash_map.h>

namespace settings::core::detail {

struct RootStates::Map : tbb::concurrent_hash_map<std::int32_t, boost::shared_ptr<SettingsRootStateMgr>> {};

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
