/// What a running bundle does with its framework: install bundles, register services and look them up.
#pragma once

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/IllegalStateException.h"
#include "cppmicroservices/ListenerFunctors.h"
#include "cppmicroservices/ListenerToken.h"
#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceRegistration.h"
#include "varnek/Export.hpp"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {

namespace detail {
struct ContextState;
} // namespace detail

/// Cheap to copy; keeps its framework alive. All operations are thread-safe, hold no lock while they call
/// services, listeners or activators, and throw IllegalStateException ("The bundle context is no longer
/// valid") when the bundle is not running any more. They have the constness of the service framework that the
/// library may be built with instead of this one.
class VARNEK_EXPORT BundleContext {
  public:
    BundleContext() noexcept = default;
    BundleContext& operator=(std::nullptr_t) noexcept {
        *this = BundleContext();
        return *this;
    }

    /// Whether the bundle is starting, active or stopping.
    explicit operator bool() const noexcept;
    friend VARNEK_EXPORT bool operator==(const BundleContext& a, const BundleContext& b) noexcept;
    friend VARNEK_EXPORT bool operator<(const BundleContext& a, const BundleContext& b) noexcept;

    /// A property of the framework; empty when there is none.
    Any GetProperty(const std::string& key) const;

    /// The bundle of this context.
    Bundle GetBundle() const;
    /// Invalid when there is no bundle with the id.
    Bundle GetBundle(long id) const;
    /// All installed bundles, the framework included, by id.
    std::vector<Bundle> GetBundles() const;
    std::vector<Bundle> GetBundles(const std::string& location) const;

    /// Installs the bundles of a library without loading it; the same file again gives the same bundles.
    /// `manifests` maps each symbolic name to the manifest of that bundle (an AnyMap); when it is empty, the
    /// manifests are read from the JSON file <location>.json, which holds either one manifest or the same
    /// map. Manifests inside the library are not looked for. Throws std::runtime_error: "... does not exist",
    /// or "Failed to install bundle library at ...: ..." for a missing or wrong manifest, and for a symbolic
    /// name and version that another location already has.
    std::vector<Bundle> InstallBundles(const std::string& location,
                                       const AnyMap& manifests = AnyMap(any_map::UNORDERED_MAP));

    /// Registers a service under its interfaces. The properties may hold an int "service.ranking"; what the
    /// framework sets itself is overwritten. Throws std::invalid_argument for a null service and for a
    /// ranking of another type, std::runtime_error for keys that differ only in case.
    template <class First, class... Others, class Implementation>
    ServiceRegistration<First, Others...> RegisterService(const std::shared_ptr<Implementation>& service,
                                                          const ServiceProperties& properties = {}) {
        return ServiceRegistration<First, Others...>(
            registerService(MakeInterfaceMap<First, Others...>(service), properties));
    }
    [[nodiscard]] ServiceRegistrationU RegisterService(const InterfaceMapConstPtr& service,
                                                       const ServiceProperties& properties = {}) {
        return ServiceRegistrationU(registerService(service, properties));
    }

    /// The best service, that is the one with the highest ranking, and among these the first registered;
    /// invalid when there is none.
    template <class Interface>
    ServiceReference<Interface> GetServiceReference() {
        return best(us_service_interface_iid<Interface>());
    }
    ServiceReferenceU GetServiceReference(const std::string& interfaceId) { return best(interfaceId); }

    /// All services with the interface that the filter lets through, best first. An empty id stands for all
    /// interfaces, an empty filter for all services. Throws std::invalid_argument for a malformed filter.
    std::vector<ServiceReferenceU> GetServiceReferences(const std::string& interfaceId,
                                                        const std::string& filter = {});
    template <class Interface>
    std::vector<ServiceReference<Interface>> GetServiceReferences(const std::string& filter = {}) {
        std::vector<ServiceReference<Interface>> typed;
        for (const ServiceReferenceU& reference :
             GetServiceReferences(us_service_interface_iid<Interface>(), filter))
            if (const ServiceReference<Interface> same = reference)
                typed.push_back(same);
        return typed;
    }

    /// The service, kept alive by the result; the bundle counts as its user that long. Null when it is not
    /// registered any more. Throws std::invalid_argument for a reference that never was valid.
    template <class Interface>
    std::shared_ptr<Interface> GetService(const ServiceReference<Interface>& reference) {
        return std::static_pointer_cast<Interface>(service(reference));
    }
    /// All its interfaces.
    InterfaceMapConstPtr GetService(const ServiceReferenceU& reference);

    /// The listener hears of the services that the filter lets through, of all when the filter is empty, from
    /// now until it is removed or the bundle stops. Registering: the service is entered first, and the call
    /// that changes it returns after the listeners. Throws std::invalid_argument for a malformed filter and
    /// an empty listener.
    ListenerToken AddServiceListener(const ServiceListener& listener, const std::string& filter = {});
    /// Throw std::invalid_argument for an empty listener.
    ListenerToken AddBundleListener(const BundleListener& listener);
    ListenerToken AddFrameworkListener(const FrameworkListener& listener);
    /// Removes a listener that was added through this context; any other token does nothing. Waits until the
    /// calls of the listener that run on other threads have ended, but for threads that wait for this one.
    void RemoveListener(ListenerToken token);

  private:
    friend struct detail::Handles;

    BundleContext(std::shared_ptr<detail::BundleCore> bundle,
                  std::shared_ptr<detail::ContextState> state) noexcept;
    detail::BundleCore& valid() const;
    ServiceRegistrationBase registerService(const InterfaceMapConstPtr& service,
                                            const ServiceProperties& properties);
    ServiceReferenceBase best(const std::string& interfaceId) const;
    std::shared_ptr<void> service(const ServiceReferenceBase& reference) const;

    std::shared_ptr<detail::BundleCore> bundle_; // shares the ownership of the whole framework
    std::shared_ptr<detail::ContextState> state_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
