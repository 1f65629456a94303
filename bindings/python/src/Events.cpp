#include "Events.hpp"

#include "Delivery.hpp"
#include "Engine.hpp"
#include "Gil.hpp"
#include "Handle.hpp"
#include "Log.hpp"
#include "PythonReference.hpp"
#include "Values.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/events/UpdatePrefdirEvent.hpp"
#include "settingscore/validation/definition/SettingsMProxyEventHandler.hpp"
#include "varnek/event/EventManager.hpp"

#include <boost/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <queue>

namespace py = pybind11;

namespace settings::python {

using core::MSettings;
using core::SettingsEvent;
using varnek::event::Connection;
using varnek::event::EventHandle;
using SettingsEventHandle = boost::shared_ptr<const SettingsEvent>;

namespace {

/// The Python class `Event`.
struct Event {
    SettingsEventHandle event;

    template <class Class>
    const Class* as() const {
        return dynamic_cast<const Class*>(event.get());
    }
    const char* kind() const {
        return as<core::SettingsValueChangeEvent>() != nullptr  ? "value"
               : as<core::SettingsAddNodeEvent>() != nullptr    ? "add"
               : as<core::SettingsRemoveNodeEvent>() != nullptr ? "remove"
               : as<core::UpdatePrefdirEvent>() != nullptr      ? "prefdir"
                                                                : "other";
    }
    py::object oldValue() const {
        const auto* change = as<core::SettingsValueChangeEvent>();
        return change == nullptr ? py::none() : toPython(change->getOldValue());
    }
    py::object parent() const {
        if (const auto* addition = as<core::SettingsAddNodeEvent>())
            return toHandle(addition->getParentObj());
        if (const auto* removal = as<core::SettingsRemoveNodeEvent>())
            return toHandle(removal->getParentObj());
        return py::none();
    }
};

/// Calls Python with the event; a failure goes no further.
void deliver(const PythonReference& callback, const SettingsEventHandle& event) {
    const GilLock gil;
    try {
        callPython(callback.get(), Event{event});
    } catch (py::error_already_set& failure) {
        reportUnraisable("a listener", failure, callback.get());
    }
}

/// The same on the thread that hands the event on, for which others may wait.
void deliverHere(const PythonReference& callback, const SettingsEventHandle& event) {
    const Delivery delivery;
    deliver(callback, event);
}

/// The Python class `Subscription`.
class Subscription {
  public:
    /// `isActive` also stands for the subscription at the engine.
    Subscription(Connection connection, std::shared_ptr<std::atomic<bool>> isActive)
        : connection_(std::move(connection)), isActive_(std::move(isActive)) {}

    bool connected() const { return connection_.connected(); }
    /// Waits for running calls, which need the interpreter lock: to be called without it.
    void disconnect() const {
        *isActive_ = false;
        connection_.disconnectAndWait();
        Engine::instance().waitFor(isActive_.get());
    }

  private:
    Connection connection_;
    std::shared_ptr<std::atomic<bool>> isActive_; // also for calls that wait for the engine
};

/// All of the process, to be ended before the interpreter.
class Subscriptions {
  public:
    /// False when all have been ended.
    bool add(const Subscription& added) {
        const std::lock_guard lock(mutex_);
        std::erase_if(all_, [](const Subscription& old) { return !old.connected(); });
        if (!isEnded_)
            all_.push_back(added);
        return !isEnded_;
    }
    void end() {
        std::vector<Subscription> ended;
        {
            const std::lock_guard lock(mutex_);
            isEnded_ = true;
            ended.swap(all_);
        }
        for (const Subscription& subscription : ended)
            subscription.disconnect();
    }

  private:
    std::mutex mutex_;
    std::vector<Subscription> all_; // guarded by mutex_
    bool isEnded_ = false;          // guarded by mutex_
};

Subscriptions& subscriptions() {
    static auto* const all = new Subscriptions; // outlives every thread
    return *all;
}

/// Hands every event to one callable, which may be replaced.
class EventHandler : public core::SettingsMProxyEventHandler {
  public:
    static void replace(std::optional<PythonReference> callback) {
        const bool isNeeded = callback.has_value();
        {
            const std::lock_guard lock(instance()->mutex_);
            instance()->callback_.swap(callback);
        }
        if (isNeeded && !isInitialized())
            initMProxyEventHandler(instance());
    }
    void handleEvent(const SettingsEventHandle& event) override {
        if (callback())
            Engine::instance().post([event] {
                if (const auto now = instance()->callback()) // it may have been taken away meanwhile
                    deliver(*now, event);
            });
    }

  private:
    std::optional<PythonReference> callback() {
        const std::lock_guard lock(mutex_);
        return callback_;
    }

    static const boost::shared_ptr<EventHandler>& instance() {
        static auto* const handler = new auto(boost::make_shared<EventHandler>()); // outlives every thread
        return *handler;
    }

    std::mutex mutex_;
    std::optional<PythonReference> callback_; // guarded by mutex_
};

py::list queuedEvents() {
    std::queue<SettingsEventHandle> events;
    withoutGil([&] { MSettings::eventQueue(events); });
    py::list list;
    for (; !events.empty(); events.pop())
        list.append(Event{events.front()});
    return list;
}

} // namespace

py::object subscribe(std::vector<std::u16string> eventTypes, const py::function& callback, bool onEngine) {
    const auto isActive = std::make_shared<std::atomic<bool>>(true);
    const auto listener = [function = PythonReference(callback), onEngine,
                           isActive](const EventHandle& event) {
        auto ours = boost::dynamic_pointer_cast<const SettingsEvent>(event);
        if (ours == nullptr || !*isActive)
            return;
        if (!onEngine)
            return deliverHere(function, ours);
        const auto job = [function, isActive, ours = std::move(ours)] {
            if (*isActive)
                deliver(function, ours);
        };
        Engine::instance().post(job, isActive.get());
    };
    const auto subscription = withoutGil([&] {
        const Subscription made(
            varnek::event::EventManager::instance().subscribe(std::move(eventTypes), listener), isActive);
        if (!subscriptions().add(made)) {
            made.disconnect();
            throw std::runtime_error("the interpreter is ending");
        }
        return made;
    });
    return py::cast(subscription);
}

void endSubscriptions() {
    EventHandler::replace(std::nullopt);
    subscriptions().end();
}

void defineEvents(py::module_& module) {
    py::class_<Event>(module, "Event", "A change that is in place.")
        .def_property_readonly("kind", &Event::kind, "\"value\", \"add\", \"remove\" or \"prefdir\".")
        .def_property_readonly(
            "setting", [](const Event& self) { return toHandle(self.event->getObj()); },
            "What the event is about: a setting, a group, or the root.")
        .def_property_readonly("oldValue", &Event::oldValue, "The value before; None when there was none.")
        .def_property_readonly("parent", &Event::parent, "Where a node was added or removed, else None.")
        .def_property_readonly(
            "rootIndex", [](const Event& self) { return self.event->getRootIndex().index(); },
            "The tree's index.")
        .def("__repr__", [](const Event& self) {
            const std::string name = withoutGil([&] { return self.event->getObj()->getFullName(); });
            return "<vksettings.Event " + std::string(self.kind()) + " \"" + name + "\">";
        });
    py::class_<Subscription>(module, "Subscription",
                             "A listener's subscription, which dropping this object does not end.")
        .def_property_readonly("connected", &Subscription::connected)
        .def(
            "disconnect", [](const Subscription& self) { withoutGil([&] { self.disconnect(); }); },
            "Ends it, and waits until running calls of the listener have returned.")
        .def("__enter__", [](const py::object& self) { return self; })
        .def("__exit__",
             [](const Subscription& self, const py::args&) { withoutGil([&] { self.disconnect(); }); });
    module.def(
        "listen",
        [](const py::function& callback, bool onEngine) {
            return subscribe({u"settings::core::SettingsEvent"}, callback, onEngine);
        },
        py::arg("callback"), py::kw_only(), py::arg("onEngine") = false,
        "Calls callback(event) for every event of every tree.");
    module.def(
        "setEventHandler",
        [](const std::optional<py::function>& callback) {
            std::optional<PythonReference> reference;
            if (callback)
                reference.emplace(*callback);
            withoutGil([&] { EventHandler::replace(std::move(reference)); });
        },
        py::arg("callback").none(true),
        "The one callable that hears of every event, on the engine's thread; None takes it away.");
    module.def(
        "enableEventQueue",
        [](bool enable) {
            withoutGil([&] { MSettings::enableEventQueue(core::DefaultRootIndex(), enable); });
        },
        py::arg("enable") = true, "Switches the event queue of the default tree on or off.");
    module.def("eventQueue", &queuedEvents, "Takes what is in the event queue, the oldest first.");
}

} // namespace settings::python
