#include "json/Value.hpp"

#include "json/Encoding.hpp"

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

namespace varnek::json {

std::string_view kindText(Kind kind) noexcept {
    switch (kind) {
    case Kind::null:
        return "null";
    case Kind::boolean:
        return "a boolean";
    case Kind::int64:
        return "a signed 64-bit integer";
    case Kind::uint64:
        return "an unsigned 64-bit integer";
    case Kind::float64:
        return "a double";
    case Kind::string:
        return "a string";
    case Kind::array:
        return "an array";
    case Kind::object:
        return "an object";
    }
    return "an unknown kind";
}

TypeError::TypeError(std::string_view expected, Kind found)
    : expected_(expected), found_(found),
      text_("expected " + expected_ + ", found " + std::string(kindText(found))) {}

TypeError::~TypeError() = default;

Value::Value(std::u16string_view text) : Value(Text(fromUtf16(text))) {}

Value::Value(Object object) noexcept : kind_(Kind::object) {
    hold(std::move(object));
}

Value::Value(const Value& other) {
    switch (other.kind_) {
    case Kind::string:
        hold(Text(other.stored<Text>()));
        break;
    case Kind::array:
        hold(Array(other.stored<Array>()));
        break;
    case Kind::object:
        hold(Object(other.stored<Object>()));
        break;
    default:
        std::memcpy(storage_, other.storage_, storageSize);
    }
    kind_ = other.kind_;
}

void Value::destroy() noexcept {
    void* const place = storage_;
    switch (kind_) {
    case Kind::string:
        std::destroy_at(std::launder(static_cast<Text*>(place)));
        break;
    case Kind::array:
        std::destroy_at(std::launder(static_cast<Array*>(place)));
        break;
    case Kind::object:
        std::destroy_at(std::launder(static_cast<Object*>(place)));
        break;
    default:
        break;
    }
}

void Value::throwTypeError(std::string_view expected) const {
    throw TypeError(expected, kind_);
}

std::int64_t Value::asInt64() const {
    return checked<std::int64_t>(Kind::int64);
}

std::uint64_t Value::asUint64() const {
    if (kind_ == Kind::int64 && stored<std::int64_t>() >= 0)
        return static_cast<std::uint64_t>(stored<std::int64_t>());
    return checked<std::uint64_t>(Kind::uint64);
}

double Value::asDouble() const {
    switch (kind_) {
    case Kind::int64:
        return static_cast<double>(stored<std::int64_t>());
    case Kind::uint64:
        return static_cast<double>(stored<std::uint64_t>());
    case Kind::float64:
        return stored<double>();
    default:
        throwTypeError("a number");
    }
}

std::u16string Value::asUtf16() const {
    return toUtf16(asString());
}

namespace {

bool sameNumber(double a, double b) noexcept {
    return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
}

/// `limit` is the first power of two that Integer cannot hold.
template <class Integer>
bool sameNumber(Integer integer, double number, double limit) noexcept {
    if (!(number >= -limit && number < limit) || std::trunc(number) != number)
        return false;
    if (std::is_unsigned_v<Integer> && number < 0)
        return false;
    return static_cast<Integer>(number) == integer && !(number == 0 && std::signbit(number));
}

} // namespace

bool operator==(const Value& a, const Value& b) noexcept {
    if (a.kind_ != b.kind_) {
        if (a.kind_ == Kind::float64)
            return b.isInteger() && b == a;
        if (b.kind_ != Kind::float64)
            return false;
        const double number = b.stored<double>();
        if (a.kind_ == Kind::int64)
            return sameNumber(a.stored<std::int64_t>(), number, 0x1p63);
        return a.kind_ == Kind::uint64 && sameNumber(a.stored<std::uint64_t>(), number, 0x1p64);
    }
    switch (a.kind_) {
    case Kind::null:
        return true;
    case Kind::boolean:
        return a.stored<bool>() == b.stored<bool>();
    case Kind::int64:
        return a.stored<std::int64_t>() == b.stored<std::int64_t>();
    case Kind::uint64:
        return a.stored<std::uint64_t>() == b.stored<std::uint64_t>();
    case Kind::float64:
        return sameNumber(a.stored<double>(), b.stored<double>());
    case Kind::string:
        return a.stored<Text>() == b.stored<Text>();
    case Kind::array:
        return a.stored<Array>() == b.stored<Array>();
    case Kind::object:
        return a.stored<Object>() == b.stored<Object>();
    }
    return false;
}

Object::Object(std::initializer_list<Member> members) {
    Sequence<Member> copies(members);
    auto object = fromMembers(copies);
    if (!object)
        throw std::invalid_argument("an object cannot have two members of one key");
    *this = std::move(*object);
}

std::optional<Object> Object::fromMembers(Sequence<Member>& members) {
    const auto byKey = [](const Member& a, const Member& b) noexcept { return a.key < b.key; };
    const auto notBefore = [](const Member& a, const Member& b) noexcept { return !(a.key < b.key); };
    // Our own writer sorts, so the common case is one pass.
    if (std::adjacent_find(members.begin(), members.end(), notBefore) != members.end()) {
        std::sort(members.begin(), members.end(), byKey);
        if (std::adjacent_find(members.begin(), members.end(), notBefore) != members.end())
            return std::nullopt;
    }
    Object object;
    object.members_ = std::move(members);
    return object;
}

namespace {

const Member* firstNotBefore(const Object& object, std::string_view key) noexcept {
    return std::lower_bound(
        object.begin(), object.end(), key,
        [](const Member& member, std::string_view wanted) noexcept { return member.key.view() < wanted; });
}

} // namespace

const Value* Object::find(std::string_view key) const noexcept {
    constexpr std::size_t few = 16; // among them most differ in their lengths
    if (members_.size() <= few) {
        for (const Member& member : members_)
            if (member.key.is(key))
                return &member.value;
        return nullptr;
    }
    const Member* const place = firstNotBefore(*this, key);
    return place != end() && place->key.view() == key ? &place->value : nullptr;
}

const Value& Object::at(std::string_view key) const {
    if (const Value* const value = find(key))
        return *value;
    throw std::out_of_range("the object has no member \"" + std::string(key) + '"');
}

Value& Object::set(std::string_view key, Value value) {
    if (empty() || members_.back().key.view() < key)
        return members_.emplace_back(key, std::move(value)).value;
    const Member* const place = firstNotBefore(*this, key);
    if (place->key.view() == key)
        return const_cast<Member*>(place)->value = std::move(value);
    return members_.insert(place, Member{key, std::move(value)})->value;
}

bool Object::erase(std::string_view key) noexcept {
    const Member* const place = firstNotBefore(*this, key);
    if (place == end() || place->key.view() != key)
        return false;
    members_.erase(place);
    return true;
}

} // namespace varnek::json
