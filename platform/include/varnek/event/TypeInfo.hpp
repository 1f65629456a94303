/// Run-time type information of events: the qualified names of an event's class and of its base classes.
#pragma once

#include "varnek/Export.hpp"

#include <boost/smart_ptr/shared_ptr.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace varnek::event {

class TypeInfo;
using TypeInfoHandle = boost::shared_ptr<const TypeInfo>;

/// One event class. Immutable; there is one object per name, which lives to the end of the process.
class VARNEK_EXPORT TypeInfo {
  public:
    TypeInfo(const TypeInfo&) = delete;
    TypeInfo& operator=(const TypeInfo&) = delete;
    ~TypeInfo();

    /// Registers a class under its qualified name ("settings::core::SettingsEvent"); the same class again
    /// gives the same object. Throws std::invalid_argument for a name that is empty or not ASCII, for an
    /// empty base handle and for a name that is registered with other bases. Thread-safe.
    static TypeInfoHandle define(std::string_view qualifiedName, std::vector<TypeInfoHandle> bases = {});

    /// Empty when no class of that name is registered. Thread-safe.
    static TypeInfoHandle find(std::string_view qualifiedName);

    const std::string& qualifiedName() const noexcept { return qualifiedName_; }
    /// The direct bases.
    const std::vector<TypeInfoHandle>& baseTypes() const noexcept { return baseTypes_; }
    /// The own name, then the names of all bases, each once.
    const std::vector<std::u16string>& eventTypes() const noexcept { return eventTypes_; }
    /// Whether this is the other class or descends from it.
    bool isA(const TypeInfo& other) const noexcept;

  private:
    TypeInfo(std::string_view qualifiedName, std::vector<TypeInfoHandle> bases);

    std::string qualifiedName_;
    std::vector<TypeInfoHandle> baseTypes_;
    std::vector<std::u16string> eventTypes_;
};

} // namespace varnek::event
