/// The texts under which the events of one node are published and listened to.
///
/// Each is the name of the event class directly followed by the node's identity. Publisher and listener build
/// them from the same two numbers, so these must stay the same for the node's life.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core::detail {

/// The two halves of a node's identity.
using IdentityParts = std::array<std::uint64_t, 2>;

// The names under which the event classes are known to the event manager.
inline constexpr std::string_view settingsEventName = "settings::core::SettingsEvent";
inline constexpr std::string_view valueChangeEventName = "settings::core::SettingsValueChangeEvent";
inline constexpr std::string_view addNodeEventName = "settings::core::SettingsAddNodeEvent";
inline constexpr std::string_view removeNodeEventName = "settings::core::SettingsRemoveNodeEvent";
inline constexpr std::string_view updatePrefdirEventName = "settings::core::UpdatePrefdirEvent";

/// Both halves in lower-case hexadecimal, each with "0x" before it unless it is 0, with nothing between them:
/// "0x1f0x2", "00x2".
std::string identityText(const IdentityParts& identity);

/// The type of the events of one class for one node.
std::u16string eventType(std::string_view eventClassName, const IdentityParts& identity);

/// The same as the list that listeners subscribe with.
std::vector<std::u16string> eventTypes(std::string_view eventClassName, const IdentityParts& identity);

} // namespace settings::core::detail
