/// Keeps track of the services that fit an interface, a filter or a reference.
///
///     class Loaders : public ServiceTrackerCustomizer<Loader> {
///         std::shared_ptr<Loader> AddingService(const ServiceReference<Loader>& reference) override {
///             auto loader = context_.GetService(reference);
///             if (loader) enter(loader);
///             return loader;
///         }
///         ...
///     };
///     Loaders loaders(context);
///     ServiceTracker<Loader> tracker(context, &loaders);
///     tracker.Open();                                     // calls AddingService for those already there
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ServiceException.h"
#include "cppmicroservices/ServiceTrackerCustomizer.h"
#include "varnek/Export.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {

namespace detail {

/// A customizer whose types are forgotten.
struct TrackerCalls {
    std::function<std::shared_ptr<void>(const ServiceReferenceBase&)> adding;
    std::function<void(const ServiceReferenceBase&, const std::shared_ptr<void>&)> modified, removed;
};

/// Which services are tracked: those that meet all that is given.
struct TrackerCriteria {
    std::vector<std::string> interfaces;
    bool byFilter = false;
    LDAPFilter filter;
    bool byReference = false;
    ServiceReferenceU reference;
};

struct TrackedService {
    ServiceReferenceBase reference;
    std::shared_ptr<void> object;
};

class TrackingSession;
struct TrackerState;

/// The tracker without its types. Thread-safe; see ServiceTracker.
class VARNEK_EXPORT Tracker {
  public:
    Tracker(BundleContext context, TrackerCriteria criteria, TrackerCalls calls);
    Tracker(const Tracker&) = delete;
    Tracker& operator=(const Tracker&) = delete;
    ~Tracker();

    void open();
    void close() noexcept;
    void remove(const ServiceReferenceBase& reference);
    /// Best first.
    std::vector<TrackedService> tracked() const;
    int size() const;
    int trackingCount() const;
    /// Until there is one, the tracker is closed, the context's bundle stops or the time is over. Zero: no
    /// limit.
    void waitForOne(std::chrono::milliseconds timeout) const;
    const BundleContext& context() const noexcept;

  private:
    std::shared_ptr<TrackingSession> session() const;

    std::unique_ptr<TrackerState> state_;
};

} // namespace detail

/// Thread-safe; no lock is held while the customizer is called. Without a customizer the services themselves
/// are kept, and the tracker's own virtual functions may be overridden; a class that does so closes in its
/// own destructor.
template <class Service, class Tracked = Service>
class ServiceTracker : protected ServiceTrackerCustomizer<Service, Tracked> {
  public:
    using Customizer = ServiceTrackerCustomizer<Service, Tracked>;
    using TrackedParamType = typename Customizer::TrackedParamType;
    using TrackingMap = std::unordered_map<ServiceReference<Service>, std::shared_ptr<TrackedParamType>>;

    /// Services with the interface. The customizer, here and below, outlives the tracker. Throws
    /// ServiceException when the interface has no name, as void has none.
    explicit ServiceTracker(const BundleContext& context, Customizer* customizer = nullptr)
        : ServiceTracker(context, detail::TrackerCriteria{{nameOf()}, false, {}, false, {}}, customizer) {}
    /// Services that are registered under the name of an interface.
    ServiceTracker(const BundleContext& context, const std::string& interfaceId,
                   Customizer* customizer = nullptr)
        : ServiceTracker(context, detail::TrackerCriteria{{interfaceId}, false, {}, false, {}}, customizer) {}
    /// Services that the filter lets through.
    ServiceTracker(const BundleContext& context, const LDAPFilter& filter, Customizer* customizer = nullptr)
        : ServiceTracker(context, detail::TrackerCriteria{{}, true, filter, false, {}}, customizer) {}
    /// This one service.
    ServiceTracker(const BundleContext& context, const ServiceReference<Service>& reference,
                   Customizer* customizer = nullptr)
        : ServiceTracker(context, detail::TrackerCriteria{{}, false, {}, true, reference}, customizer) {}

    ~ServiceTracker() override { tracker_.close(); }

    /// Begins to track; calls AddingService for the services that are there, the best first, on this thread.
    /// What that throws comes out, and the services after it stay untracked; the tracker is open then. An
    /// open tracker stays as it is. Throws IllegalStateException when the context is not valid,
    /// std::runtime_error for an empty filter.
    virtual void Open() { tracker_.open(); }

    /// Ends the tracking: waits until the calls of the customizer that run on other threads have ended, then
    /// calls RemovedService for all that is left, on this thread. Hold no lock that the customizer takes. May
    /// be called at any time, after the framework has stopped and from inside the customizer too, which does
    /// not wait for itself nor for a thread that waits for it. What RemovedService throws is reported as a
    /// FrameworkEvent. The tracker may be opened again.
    virtual void Close() { tracker_.close(); }

    /// The tracked object of the best service, waited for until the tracker is closed, the context's bundle
    /// or framework stops or the time is over (zero: no limit). Null when there is none then. Throws
    /// std::invalid_argument for a negative time.
    std::shared_ptr<TrackedParamType> WaitForService() {
        return WaitForService(std::chrono::milliseconds::zero());
    }
    template <class Rep, class Period>
    std::shared_ptr<TrackedParamType> WaitForService(const std::chrono::duration<Rep, Period>& timeout) {
        if (timeout < timeout.zero())
            throw std::invalid_argument("cannot wait for a negative time");
        constexpr std::chrono::duration<double> longest(1e9); // thirty years
        tracker_.waitForOne(timeout > longest ? std::chrono::milliseconds::zero()
                                              : std::chrono::ceil<std::chrono::milliseconds>(timeout));
        return GetService();
    }

    /// Empty, null or zero while nothing is tracked or the tracker is closed.
    virtual std::vector<ServiceReference<Service>> GetServiceReferences() const {
        std::vector<ServiceReference<Service>> references;
        for (const auto& service : tracker_.tracked())
            references.emplace_back(service.reference);
        return references;
    }
    virtual std::vector<std::shared_ptr<TrackedParamType>> GetServices() const {
        std::vector<std::shared_ptr<TrackedParamType>> objects;
        for (const auto& service : tracker_.tracked())
            objects.push_back(typed(service.object));
        return objects;
    }
    /// That of the best service: the highest ranking, among equals the first registered.
    virtual std::shared_ptr<TrackedParamType> GetService() const {
        const auto tracked = tracker_.tracked();
        return tracked.empty() ? nullptr : typed(tracked.front().object);
    }
    virtual std::shared_ptr<TrackedParamType> GetService(const ServiceReference<Service>& reference) const {
        for (const auto& service : tracker_.tracked())
            if (service.reference == reference)
                return typed(service.object);
        return nullptr;
    }
    /// The best. Throws ServiceException when nothing is tracked.
    virtual ServiceReference<Service> GetServiceReference() const {
        const auto tracked = tracker_.tracked();
        if (tracked.empty())
            throw ServiceException("No service is being tracked.");
        return tracked.front().reference;
    }
    virtual void GetTracked(TrackingMap& tracked) const {
        tracked.clear();
        for (const auto& service : tracker_.tracked())
            tracked.emplace(service.reference, typed(service.object));
    }
    virtual int Size() const { return tracker_.size(); }
    virtual bool IsEmpty() const { return Size() == 0; }
    /// Services added, modified and removed since the tracker was opened; -1 while it is closed.
    virtual int GetTrackingCount() const { return tracker_.trackingCount(); }

    /// Does not track the service any more, until it is modified.
    virtual void Remove(const ServiceReference<Service>& reference) { tracker_.remove(reference); }

  protected:
    /// The service itself. Throws std::runtime_error when something else is to be tracked.
    std::shared_ptr<TrackedParamType> AddingService(const ServiceReference<Service>& reference) override {
        if constexpr (std::is_same_v<Service, Tracked>) {
            BundleContext context = tracker_.context();
            return context.GetService(reference);
        } else {
            throw std::runtime_error("a tracker of other objects than the services needs a customizer");
        }
    }
    void ModifiedService(const ServiceReference<Service>&,
                         const std::shared_ptr<TrackedParamType>&) override {}
    void RemovedService(const ServiceReference<Service>&, const std::shared_ptr<TrackedParamType>&) override {
    }

  private:
    ServiceTracker(const BundleContext& context, detail::TrackerCriteria criteria, Customizer* customizer)
        : tracker_(context, withInterface(std::move(criteria)),
                   callsOf(customizer != nullptr ? customizer : this)) {}

    static std::string nameOf() {
        std::string name = us_service_interface_iid<Service>();
        if (name.empty())
            throw ServiceException("the interface has no name");
        return name;
    }
    /// Services without the interface would give references that are not valid.
    static detail::TrackerCriteria withInterface(detail::TrackerCriteria criteria) {
        if constexpr (!std::is_void_v<Service>)
            criteria.interfaces.push_back(us_service_interface_iid<Service>());
        return criteria;
    }
    static std::shared_ptr<TrackedParamType> typed(const std::shared_ptr<void>& object) {
        return std::static_pointer_cast<TrackedParamType>(object);
    }
    static detail::TrackerCalls callsOf(Customizer* customizer) {
        return {[customizer](const ServiceReferenceBase& reference) -> std::shared_ptr<void> {
                    return std::const_pointer_cast<std::remove_const_t<TrackedParamType>>(
                        customizer->AddingService(reference));
                },
                [customizer](const ServiceReferenceBase& reference, const std::shared_ptr<void>& object) {
                    customizer->ModifiedService(reference, typed(object));
                },
                [customizer](const ServiceReferenceBase& reference, const std::shared_ptr<void>& object) {
                    customizer->RemovedService(reference, typed(object));
                }};
    }

    detail::Tracker tracker_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
