/// The base of all events of the application.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/event/TypeInfo.hpp"

#include <boost/smart_ptr/shared_ptr.hpp>

#include <string>
#include <vector>

namespace varnek::event {

/// Immutable once made; passed around as a shared handle to a constant event.
class VARNEK_EXPORT Event {
  public:
    virtual ~Event();
    Event& operator=(const Event&) = delete;

    /// The type that has no base types: "varnek::event::Event".
    static const TypeInfoHandle& staticTypeInfo();

    /// The class of the event; never empty.
    const TypeInfoHandle& typeInfo() const noexcept { return typeInfo_; }
    /// The names under which listeners receive the event, never empty. UTF-16.
    const std::vector<std::u16string>& eventTypes() const noexcept { return eventTypes_; }

  protected:
    /// Without event types of its own, the event has those of its class. Throws std::invalid_argument for an
    /// empty handle.
    explicit Event(TypeInfoHandle typeInfo, std::vector<std::u16string> eventTypes = {});
    Event(const Event&) = default;

  private:
    TypeInfoHandle typeInfo_;
    std::vector<std::u16string> eventTypes_;
};

using EventHandle = boost::shared_ptr<const Event>;

} // namespace varnek::event
