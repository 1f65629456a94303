#include "varnek/event/Event.hpp"

#include <stdexcept>

namespace varnek::event {

Event::~Event() = default;

Event::Event(TypeInfoHandle typeInfo, std::vector<std::u16string> eventTypes)
    : typeInfo_(std::move(typeInfo)), eventTypes_(std::move(eventTypes)) {
    if (!typeInfo_)
        throw std::invalid_argument("an event needs its type information");
    if (eventTypes_.empty())
        eventTypes_ = typeInfo_->eventTypes();
}

const TypeInfoHandle& Event::staticTypeInfo() {
    static const auto* const handle = new TypeInfoHandle(TypeInfo::define("varnek::event::Event"));
    return *handle;
}

} // namespace varnek::event
