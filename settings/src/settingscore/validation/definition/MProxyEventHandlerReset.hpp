/// Takes the event handler of the front end out again; for tests.
#pragma once

namespace settings::core::detail {

/// Waits for a call of the handler that is running.
void removeMProxyEventHandler();

} // namespace settings::core::detail
