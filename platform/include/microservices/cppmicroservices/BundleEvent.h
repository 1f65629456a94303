/// What happened to a bundle.
#pragma once

#include "cppmicroservices/Bundle.h"
#include "varnek/Export.hpp"

#include <cstdint>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {

/// Immutable. A default-constructed event is invalid.
class VARNEK_EXPORT BundleEvent {
  public:
    enum Type : std::uint32_t {
        BUNDLE_INSTALLED = 0x1,
        BUNDLE_STARTED = 0x2,
        BUNDLE_STOPPED = 0x4, // also after a start that failed
        BUNDLE_UNINSTALLED = 0x10,
        BUNDLE_RESOLVED = 0x20, // before it starts for the first time
        BUNDLE_UNRESOLVED = 0x40,
        BUNDLE_STARTING = 0x80,
        BUNDLE_STOPPING = 0x100,
    };

    BundleEvent() noexcept = default;
    BundleEvent(Type type, Bundle bundle) : type_(type), bundle_(std::move(bundle)) {}

    explicit operator bool() const noexcept { return type_ != 0; }
    Type GetType() const noexcept { return type_; }
    Bundle GetBundle() const { return bundle_; }

    friend bool operator==(const BundleEvent& a, const BundleEvent& b) noexcept {
        return a.type_ == b.type_ && a.bundle_ == b.bundle_;
    }

  private:
    Type type_{};
    Bundle bundle_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
