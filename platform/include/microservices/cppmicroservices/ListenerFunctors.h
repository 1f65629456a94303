/// What listeners are. They are called on the thread that changes something, with no lock held, several at
/// once when several threads do. What they throw does not reach that thread: it becomes a FrameworkEvent, or,
/// from a framework listener, a log line.
#pragma once

#include <functional>

namespace cppmicroservices {
inline namespace varnek_platform {

class BundleEvent;
class FrameworkEvent;
class ServiceEvent;

using ServiceListener = std::function<void(const ServiceEvent&)>;
using BundleListener = std::function<void(const BundleEvent&)>;
using FrameworkListener = std::function<void(const FrameworkEvent&)>;

} // namespace varnek_platform
} // namespace cppmicroservices
