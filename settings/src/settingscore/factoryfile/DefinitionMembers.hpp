/// Access to the members of one JSON object of a definition document. What is wrong is collected, and reading
/// goes on without it.
#pragma once

#include "settingscore/factoryfile/InvalidDefinition.hpp"
#include "json/Value.hpp"

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace settings::core::detail {

using DefinitionFaults = std::vector<varnek::settings::DefinitionFault>;

/// Refers to the object and to the list of faults. Confined to one thread.
class DefinitionMembers {
  public:
    DefinitionMembers(const varnek::json::Object& object, std::string path, DefinitionFaults& faults)
        : object_(object), path_(std::move(path)), faults_(faults) {}

    const varnek::json::Object& object() const noexcept { return object_; }
    const std::string& path() const noexcept { return path_; }
    std::string pathOf(std::string_view key) const;

    void report(const std::string& path, const std::string& rule) const { faults_.push_back({path, rule}); }
    void reportMember(std::string_view key, const std::string& rule) const { report(pathOf(key), rule); }

    /// Every other member is a fault; `what` names the object in the message ("a setting").
    void allowOnly(std::initializer_list<std::string_view> keys, std::string_view what) const;

    // Nothing or null when the member is absent or, which is a fault, of another kind.
    const varnek::json::Value* find(std::string_view key) const noexcept { return object_.find(key); }
    std::optional<bool> boolean(std::string_view key) const;
    std::optional<std::string> string(std::string_view key) const;
    const varnek::json::Object* object(std::string_view key) const;
    const varnek::json::Array* array(std::string_view key) const;

    /// The strings of an array; empty when it is absent.
    std::vector<std::string> strings(std::string_view key) const;
    /// Calls `use` for every object of the array `key`.
    void forEach(std::string_view key, const std::function<void(const DefinitionMembers&)>& use) const;

  private:
    const varnek::json::Object& object_;
    std::string path_;
    DefinitionFaults& faults_;
};

} // namespace settings::core::detail
