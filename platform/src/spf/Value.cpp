#include "spf/Value.hpp"

#include "spf/RemoteError.hpp"
#include "json/ArrayConversion.hpp"
#include "json/Writer.hpp"

namespace varnek::spf {
namespace {

json::Value listToJson(const Value::List& list) {
    json::Array array;
    array.reserve(list.size());
    for (const Value& value : list)
        array.push_back(value.toJson());
    return array;
}

template <class T>
const T& held(const T* value, const char* kind) {
    if (value == nullptr)
        throw RemoteError(RemoteErrorKind::malformed, std::string("A value that is not ") + kind);
    return *value;
}

} // namespace

bool Value::asBool() const {
    return held(std::get_if<bool>(&held_), "true or false");
}
std::int64_t Value::asInteger() const {
    return held(std::get_if<std::int64_t>(&held_), "an integer");
}
const std::string& Value::asText() const {
    return held(std::get_if<std::string>(&held_), "a text");
}
const data::Array& Value::asArray() const {
    return held(std::get_if<data::Array>(&held_), "an array");
}
const Value::List& Value::asList() const {
    return held(std::get_if<List>(&held_), "a list");
}

json::Value Value::toJson() const {
    struct {
        json::Value operator()(std::monostate) const { return nullptr; }
        json::Value operator()(bool value) const { return value; }
        json::Value operator()(std::int64_t value) const { return value; }
        json::Value operator()(const std::string& value) const { return value; }
        json::Value operator()(const data::Array& value) const { return json::toTyped(value); }
        json::Value operator()(const List& value) const { return listToJson(value); }
    } constexpr convert;
    return std::visit(convert, held_);
}

std::string Call::toString() const {
    return json::write(
        json::Object{{"arguments", listToJson(arguments)}, {"name", name}, {"return", returned.toJson()}});
}

} // namespace varnek::spf
