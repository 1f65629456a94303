/// What a tracker does with the services that come and go.
#pragma once

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReference.h"

#include <memory>
#include <type_traits>

namespace cppmicroservices {
inline namespace varnek_platform {

/// `Service` is the interface of the services, void for any; `Tracked` what is kept of each of them. Called
/// by the tracker with no lock held, on the threads that register, modify and unregister, several at once for
/// different services.
template <class Service, class Tracked = Service>
struct ServiceTrackerCustomizer {
    /// For void all interfaces of the service.
    using TrackedParamType = std::conditional_t<std::is_void_v<Tracked>, const InterfaceMap, Tracked>;

    virtual ~ServiceTrackerCustomizer() = default;

    /// What to keep; null: the service is not tracked. Events of the service that come before it returns are
    /// passed over, but a service that is gone by then is removed at once.
    virtual std::shared_ptr<TrackedParamType> AddingService(const ServiceReference<Service>& reference) = 0;
    virtual void ModifiedService(const ServiceReference<Service>& reference,
                                 const std::shared_ptr<TrackedParamType>& tracked) = 0;
    /// The service is not tracked any more: it is unregistered, its properties do not fit, or the tracker is
    /// closed. Once for each object that AddingService gave.
    virtual void RemovedService(const ServiceReference<Service>& reference,
                                const std::shared_ptr<TrackedParamType>& tracked) = 0;
};

} // namespace varnek_platform
} // namespace cppmicroservices
