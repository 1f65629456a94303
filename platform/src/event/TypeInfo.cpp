#include "varnek/event/TypeInfo.hpp"

#include <algorithm>
#include <map>
#include <mutex>
#include <stdexcept>

namespace varnek::event {
namespace {

struct TypeTable {
    std::mutex mutex; // guards types
    std::map<std::string, TypeInfoHandle, std::less<>> types;
};

TypeTable& table() {
    static TypeTable* const instance = new TypeTable;
    return *instance;
}

void checkDefinition(std::string_view name, const std::vector<TypeInfoHandle>& bases) {
    const bool ascii = std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7F; });
    if (name.empty() || !ascii)
        throw std::invalid_argument("an event type needs a qualified name of ASCII characters");
    if (std::any_of(bases.begin(), bases.end(), [](const TypeInfoHandle& base) { return !base; }))
        throw std::invalid_argument("a base of the event type " + std::string(name) + " is missing");
}

} // namespace

TypeInfo::TypeInfo(std::string_view qualifiedName, std::vector<TypeInfoHandle> bases)
    : qualifiedName_(qualifiedName), baseTypes_(std::move(bases)) {
    eventTypes_.emplace_back(qualifiedName.begin(), qualifiedName.end());
    for (const TypeInfoHandle& base : baseTypes_)
        for (const std::u16string& type : base->eventTypes())
            if (std::find(eventTypes_.begin(), eventTypes_.end(), type) == eventTypes_.end())
                eventTypes_.push_back(type);
}

TypeInfo::~TypeInfo() = default;

TypeInfoHandle TypeInfo::define(std::string_view qualifiedName, std::vector<TypeInfoHandle> bases) {
    checkDefinition(qualifiedName, bases);
    const TypeInfoHandle made(new TypeInfo(qualifiedName, std::move(bases)));
    const std::lock_guard lock(table().mutex);
    const TypeInfoHandle known = table().types.try_emplace(made->qualifiedName_, made).first->second;
    if (known->baseTypes_ != made->baseTypes_)
        throw std::invalid_argument("the event type " + made->qualifiedName_ +
                                    " is registered with other bases");
    return known;
}

TypeInfoHandle TypeInfo::find(std::string_view qualifiedName) {
    const std::lock_guard lock(table().mutex);
    const auto found = table().types.find(qualifiedName);
    return found != table().types.end() ? found->second : TypeInfoHandle();
}

bool TypeInfo::isA(const TypeInfo& other) const noexcept {
    return this == &other || std::any_of(baseTypes_.begin(), baseTypes_.end(),
                                         [&](const TypeInfoHandle& base) { return base->isA(other); });
}

} // namespace varnek::event
