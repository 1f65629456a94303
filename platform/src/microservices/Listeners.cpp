#include "microservices/Listeners.hpp"

#include "cppmicroservices/IllegalStateException.h"
#include "microservices/FrameworkCore.hpp"
#include "varnek/exception/CurrentException.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {
namespace {

/// The text of what is being handled.
std::string causeOf() {
    return varnek::exception::causeOfCurrentException("not a standard exception");
}

template <class Entries>
void endAll(const Entries& entries) noexcept {
    for (const auto& entry : entries) {
        entry->removed = true;
        if (entry->ended)
            entry->ended(); // before the wait: a call may wait for it
    }
    for (const auto& entry : entries)
        entry->calls.wait();
}

} // namespace

template <class Event>
void ListenerList<Event>::add(const Entry& entry) {
    List replaced; // goes after the lock
    const std::lock_guard lock(mutex_);
    if (entry->context->ending)
        throw IllegalStateException("The bundle context is no longer valid");
    auto next = std::make_shared<std::vector<Entry>>(*list_);
    next->push_back(entry);
    replaced = std::exchange(list_, std::move(next));
}

template <class Event>
std::vector<typename ListenerList<Event>::Entry>
ListenerList<Event>::takeOut(const std::function<bool(const ListenerEntry<Event>&)>& chosen) {
    List replaced; // goes after the lock
    std::vector<Entry> taken;
    const std::lock_guard lock(mutex_);
    auto next = std::make_shared<std::vector<Entry>>();
    for (const Entry& entry : *list_)
        (chosen(*entry) ? taken : *next).push_back(entry);
    replaced = std::exchange(list_, std::move(next));
    return taken;
}

template <class Event>
typename ListenerList<Event>::List ListenerList<Event>::all() const {
    const std::lock_guard lock(mutex_);
    return list_;
}

// NOLINTBEGIN(performance-unnecessary-value-param): moved into what the tool cannot see in a template
template <class Event>
ListenerToken Listeners::enter(std::shared_ptr<ContextState> context,
                               std::function<void(const Event&)> listener, LDAPFilter filter,
                               std::function<void()> ended) {
    if (!listener)
        throw std::invalid_argument("cannot add an empty listener");
    const auto entry = std::make_shared<ListenerEntry<Event>>();
    entry->id = nextId_.fetch_add(1);
    entry->context = std::move(context);
    entry->listener = std::move(listener);
    entry->filter = std::move(filter);
    entry->ended = std::move(ended);
    list<Event>().add(entry);
    return ListenerToken(entry->id);
}
// NOLINTEND(performance-unnecessary-value-param)

ListenerToken Listeners::add(std::shared_ptr<ContextState> context, ServiceListener listener,
                             LDAPFilter filter, std::function<void()> ended) {
    return enter<ServiceEvent>(std::move(context), std::move(listener), std::move(filter), std::move(ended));
}
ListenerToken Listeners::add(std::shared_ptr<ContextState> context, BundleListener listener) {
    return enter<BundleEvent>(std::move(context), std::move(listener), {}, {});
}
ListenerToken Listeners::add(std::shared_ptr<ContextState> context, FrameworkListener listener) {
    return enter<FrameworkEvent>(std::move(context), std::move(listener), {}, {});
}

void Listeners::remove(const ContextState& context, const ListenerToken& token, bool wait) {
    const auto from = [&](auto& listeners) {
        for (const auto& entry : listeners.takeOut([&](const auto& other) {
                 return other.id == token.id_ && other.context.get() == &context;
             })) {
            entry->removed = true;
            if (wait)
                entry->calls.wait();
        }
    };
    if (token)
        std::apply([&](auto&... listeners) { (from(listeners), ...); }, lists_);
}

void Listeners::close(ContextState& context) noexcept {
    context.ending = true;
    const auto from = [&](auto& listeners) {
        endAll(listeners.takeOut([&](const auto& other) { return other.context.get() == &context; }));
    };
    std::apply([&](auto&... listeners) { (from(listeners), ...); }, lists_);
}

template <class Event>
void Listeners::call(ListenerEntry<Event>& entry, const Event& event, const char* kind) const noexcept {
    const varnek::concurrency::RunningCalls::Call call(entry.calls); // before the test: who removes it waits
    if (entry.removed)
        return;
    try {
        entry.listener(event);
    } catch (...) {
        failed_(entry.context->bundleId, std::string(kind) + causeOf(), std::current_exception());
    }
}

void Listeners::tell(ServiceEvent::Type type, const RegistrationHandle& registration,
                     const Registration::Properties& before) const noexcept {
    const auto entries = std::get<ListenerList<ServiceEvent>>(lists_).all();
    const auto now = registration->properties();
    const auto reference = References::reference(registration, {});
    for (const auto& entry : *entries) {
        if (!entry->filter || entry->filter.Match(*now))
            call(*entry, ServiceEvent(type, reference), "Service listener threw an exception: ");
        else if (before && entry->filter.Match(*before))
            call(*entry, ServiceEvent(ServiceEvent::SERVICE_MODIFIED_ENDMATCH, reference),
                 "Service listener threw an exception: ");
    }
}

void Listeners::tell(const BundleEvent& event) const noexcept {
    const auto entries = std::get<ListenerList<BundleEvent>>(lists_).all();
    for (const auto& entry : *entries)
        call(*entry, event, "Bundle listener threw an exception: ");
}

std::vector<std::string> Listeners::tell(const FrameworkEvent& event) const {
    std::vector<std::string> failures;
    const auto entries = std::get<ListenerList<FrameworkEvent>>(lists_).all();
    for (const auto& entry : *entries) {
        const varnek::concurrency::RunningCalls::Call call(entry->calls);
        if (!entry->removed)
            try {
                entry->listener(event);
            } catch (...) {
                failures.push_back("Framework listener threw an exception: " + causeOf());
            }
    }
    return failures;
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
