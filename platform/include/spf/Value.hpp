/// One argument or result of a remote call.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/data/Array.hpp"
#include "json/Value.hpp"

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace varnek::spf {

/// Nothing, a truth value, an integer, a text (UTF-8; not checked), a data array or a list of such values. A
/// plain value: threads may share it while nobody changes it.
class VARNEK_EXPORT Value {
  public:
    using List = std::vector<Value>;

    Value() = default;
    template <std::same_as<bool> T>
    Value(T value) : held_(value) {}
    template <json::Integer T>
    requires std::signed_integral<T> Value(T value) : held_(std::int64_t{value}) {}
    Value(std::string value) : held_(std::move(value)) {}
    Value(std::string_view value) : held_(std::string(value)) {}
    Value(const char* value) : held_(std::string(value)) {}
    Value(data::Array value) : held_(std::move(value)) {}
    Value(List value) : held_(std::move(value)) {}

    bool isNothing() const noexcept { return std::holds_alternative<std::monostate>(held_); }
    // RemoteError of kind malformed for a value of another kind. References are valid as long as this object
    // is neither assigned to nor destroyed.
    bool asBool() const;
    std::int64_t asInteger() const;
    const std::string& asText() const;
    const data::Array& asArray() const;
    const List& asList() const;

    /// For people and logs: arrays in their typed form. Throws json::ConversionError for what nests too deep.
    json::Value toJson() const;

    friend bool operator==(const Value&, const Value&) = default;

  private:
    friend class ValueEncoding;
    std::variant<std::monostate, bool, std::int64_t, std::string, data::Array, List> held_;
};

/// A remote call as people read it.
struct Call {
    std::string name;
    Value returned;
    Value::List arguments;

    /// The JSON object with the members "arguments", "name" and "return".
    VARNEK_EXPORT std::string toString() const;
};

} // namespace varnek::spf
