/// A set of bundles and services of its own. A process may have several.
#pragma once

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "varnek/Export.hpp"

#include <chrono>

namespace cppmicroservices {
inline namespace varnek_platform {

/// The framework is the bundle with the id 0. Stop it and wait for that before the last handle goes: bundles
/// that still run then are not stopped.
class VARNEK_EXPORT Framework : public Bundle {
  public:
    /// Throws std::logic_error for any other bundle.
    explicit Framework(const Bundle& bundle);

    /// Makes the context valid: bundles can be installed and started. Nothing happens when it is already.
    void Init();

    /// Blocks until the framework has stopped or the time is over; zero means without limit. Returns at once
    /// when the framework is not running. Throws std::logic_error on a thread that starts or stops a bundle;
    /// must not be called by listeners and trackers.
    template <class Rep, class Period>
    FrameworkEvent WaitForStop(const std::chrono::duration<Rep, Period>& timeout) {
        return waitForStop(std::chrono::duration_cast<std::chrono::milliseconds>(timeout));
    }

  private:
    FrameworkEvent waitForStop(std::chrono::milliseconds timeout);
};

} // namespace varnek_platform
} // namespace cppmicroservices
