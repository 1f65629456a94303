/// Walking along full names: node names joined by ".".
#pragma once

#include "settingscore/settings/node/SettingsNodeImpl.hpp"

#include <string_view>

namespace settings::core::detail {

/// Splits off the first name of `path`; `path` keeps the rest. Empty when nothing is left.
std::string_view nextName(std::string_view& path) noexcept;

/// The node that the full name leads to from `start`, or empty. Groups that are not loaded yet are loaded.
NodePtr walk(const NodePtr& start, std::string_view fullName);

/// The same through nodes that are there already, where an alias stands for itself.
NodePtr walkWithoutAliases(const NodePtr& start, std::string_view fullName);

} // namespace settings::core::detail
