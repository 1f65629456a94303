#include "settingscore/settings/node/AliasDestination.hpp"

namespace settings::core::detail {

NodePtr behindAlias(const NodePtr& setting) {
    const NodePtr parent = setting->aliasName().empty() ? NodePtr() : setting->getParent();
    const NodePtr found = parent == nullptr ? NodePtr() : parent->getChild(setting->getName(), true);
    return found == nullptr ? setting : found;
}

} // namespace settings::core::detail
