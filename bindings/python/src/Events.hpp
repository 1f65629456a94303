/// Events and their listeners in Python.
#pragma once

#include "varnek/event/Event.hpp"

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

namespace settings::python {

/// Subscribes a callable and returns its Subscription. It is called with an Event, on the thread that hands
/// the event on, or with `onEngine` on that of the engine.
pybind11::object subscribe(std::vector<std::u16string> eventTypes, const pybind11::function& callback,
                           bool onEngine);

/// Ends all subscriptions and waits for running calls. Without the interpreter lock.
void endSubscriptions();

void defineEvents(pybind11::module_& module);

} // namespace settings::python
