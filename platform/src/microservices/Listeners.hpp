/// The listeners of one framework.
#pragma once

#include "cppmicroservices/BundleEvent.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ListenerFunctors.h"
#include "cppmicroservices/ListenerToken.h"
#include "cppmicroservices/ServiceEvent.h"
#include "microservices/Registration.hpp"
#include "varnek/concurrency/RunningCalls.hpp"

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

struct ContextState;

/// One listener of a context. Not called any more once `removed` is set.
template <class Event>
struct ListenerEntry {
    std::uint64_t id = 0;
    std::shared_ptr<ContextState> context;
    std::function<void(const Event&)> listener;
    LDAPFilter filter;           // false: everything
    std::function<void()> ended; // the context ends before the listener was removed; may be empty
    std::atomic<bool> removed{false};
    varnek::concurrency::RunningCalls calls;
};

/// Thread-safe. The list is replaced, never changed, so that events go on with the list that they found.
template <class Event>
class ListenerList {
  public:
    using Entry = std::shared_ptr<ListenerEntry<Event>>;
    using List = std::shared_ptr<const std::vector<Entry>>;

    /// Throws IllegalStateException when the context ends.
    void add(const Entry& entry);
    /// Takes out the listeners that are chosen.
    std::vector<Entry> takeOut(const std::function<bool(const ListenerEntry<Event>&)>& chosen);
    List all() const;

  private:
    mutable std::mutex mutex_; // guards list_
    List list_ = std::make_shared<const std::vector<Entry>>();
};

/// Thread-safe. No lock is held while listeners are called or destroyed.
class Listeners {
  public:
    /// Told what service and bundle listeners throw, with the bundle of the listener. Does not throw.
    using Failed = std::function<void(long bundleId, const std::string& text, std::exception_ptr thrown)>;
    explicit Listeners(Failed failed) : failed_(std::move(failed)) {}

    /// All three throw std::invalid_argument for an empty listener, IllegalStateException when the context
    /// ends.
    ListenerToken add(std::shared_ptr<ContextState> context, ServiceListener listener, LDAPFilter filter,
                      std::function<void()> ended = {});
    ListenerToken add(std::shared_ptr<ContextState> context, BundleListener listener);
    ListenerToken add(std::shared_ptr<ContextState> context, FrameworkListener listener);

    /// Removes a listener of the context; does not wait for its calls, unless `wait` is set.
    void remove(const ContextState& context, const ListenerToken& token, bool wait);
    /// Removes all listeners of a context, which gets no new ones, and waits for their calls.
    void close(ContextState& context) noexcept;

    /// `before`: the properties up to now, for modifications.
    void tell(ServiceEvent::Type type, const RegistrationHandle& registration,
              const Registration::Properties& before = {}) const noexcept;
    void tell(const BundleEvent& event) const noexcept;
    /// Those that listeners throw are given back, since nobody else would hear of them.
    std::vector<std::string> tell(const FrameworkEvent& event) const;

  private:
    template <class Event>
    ListenerToken enter(std::shared_ptr<ContextState> context, std::function<void(const Event&)> listener,
                        LDAPFilter filter, std::function<void()> ended);
    template <class Event>
    ListenerList<Event>& list() {
        return std::get<ListenerList<Event>>(lists_);
    }
    template <class Event>
    void call(ListenerEntry<Event>& entry, const Event& event, const char* kind) const noexcept;

    const Failed failed_;
    std::atomic<std::uint64_t> nextId_{1};
    std::tuple<ListenerList<ServiceEvent>, ListenerList<BundleEvent>, ListenerList<FrameworkEvent>> lists_;
};

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
