/// Where an alias leads, for operations that are given the alias itself.
#pragma once

#include "settingscore/settings/node/SettingsNodeImpl.hpp"

namespace settings::core::detail {

/// The node whose values stand for those of `setting`: one step from an alias, perhaps a group; otherwise the
/// setting itself, also for an alias whose destination is not there.
NodePtr behindAlias(const NodePtr& setting);

} // namespace settings::core::detail
