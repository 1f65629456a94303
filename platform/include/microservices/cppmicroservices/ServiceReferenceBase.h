/// A handle to a registered service, whatever its interface.
#pragma once

#include "cppmicroservices/Any.h"
#include "varnek/Export.hpp"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {

class Bundle;

namespace detail {
class Registration;
struct References;
} // namespace detail

/// Cheap to copy; copies and references to other interfaces of one registration are equal. Keeps neither the
/// service nor the framework alive. Thread-safe like a pointer.
class VARNEK_EXPORT ServiceReferenceBase {
  public:
    ServiceReferenceBase() noexcept = default;

    /// Whether the service is registered now.
    explicit operator bool() const noexcept;

    /// A service property; the case of the key does not matter. Empty when there is none. The last ones stay
    /// readable after the service is gone.
    Any GetProperty(const std::string& key) const;
    std::vector<std::string> GetPropertyKeys() const;
    /// The bundle that registered the service; invalid when the service or its framework is gone.
    Bundle GetBundle() const;
    std::vector<Bundle> GetUsingBundles() const;
    /// The interface that GetService gives; empty for a reference to the service as a whole.
    std::string GetInterfaceId() const;

    friend VARNEK_EXPORT bool operator==(const ServiceReferenceBase& a,
                                         const ServiceReferenceBase& b) noexcept;
    /// Lower ranking first, and among equals the later registration, so that the best is the greatest.
    friend VARNEK_EXPORT bool operator<(const ServiceReferenceBase& a,
                                        const ServiceReferenceBase& b) noexcept;
    std::size_t Hash() const noexcept;

  protected:
    /// The same registration seen as another interface; invalid when it does not have it.
    ServiceReferenceBase(const ServiceReferenceBase& other, const std::string& interfaceId);

  private:
    friend struct detail::References;
    ServiceReferenceBase(std::shared_ptr<detail::Registration> registration,
                         std::string interfaceId) noexcept;

    std::shared_ptr<detail::Registration> registration_;
    std::string interfaceId_;
};

} // namespace varnek_platform
} // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::ServiceReferenceBase> {
    std::size_t operator()(const cppmicroservices::ServiceReferenceBase& reference) const noexcept {
        return reference.Hash();
    }
};
