#include "settingscore/settings/node/AliasTable.hpp"

namespace settings::core::detail {

boost::shared_ptr<SettingsNodeImpl> AliasTable::find(std::string_view name) const {
    const std::lock_guard lock(mutex_);
    const auto found = destinations_.find(name);
    return found == destinations_.end() ? nullptr : found->second.lock();
}

void AliasTable::remember(std::string_view name, const boost::shared_ptr<SettingsNodeImpl>& destination) {
    const std::lock_guard lock(mutex_);
    destinations_.insert_or_assign(std::string(name), destination);
}

void AliasTable::forget(std::string_view name) {
    const std::lock_guard lock(mutex_);
    const auto found = destinations_.find(name);
    if (found != destinations_.end())
        destinations_.erase(found);
}

bool AliasTable::noteMissing(std::string_view name) {
    const std::lock_guard lock(mutex_);
    return destinations_.emplace(name, boost::weak_ptr<SettingsNodeImpl>()).second;
}

} // namespace settings::core::detail
