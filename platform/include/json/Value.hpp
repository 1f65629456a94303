/// A JSON value in 16 bytes: null, boolean, exact 64-bit integer, double, string, array or object.
///
/// Values own what they hold; a copy is deep. Like a std::vector: const operations may run on several threads
/// at once, anything else needs a lock of the caller.
#pragma once

#include "varnek/Export.hpp"
#include "json/Sequence.hpp"
#include "json/Text.hpp"
#include "json/TypeError.hpp"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace varnek::json {

class Object;
class Value;
using Array = Sequence<Value>;

/// Integer types that stand for numbers: characters and bool do not.
template <class T>
concept Integer =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, char8_t> &&
    !std::same_as<T, char16_t> && !std::same_as<T, char32_t> && !std::same_as<T, wchar_t>;

class VARNEK_EXPORT Value {
  public:
    Value() noexcept = default;
    Value(std::nullptr_t) noexcept {}
    template <std::same_as<bool> T>
    Value(T value) noexcept : kind_(Kind::boolean) {
        hold(value);
    }
    /// Kind int64 where the number fits it, else uint64.
    template <Integer T>
    Value(T value) noexcept : kind_(Kind::int64) {
        if (std::in_range<std::int64_t>(value)) {
            hold(static_cast<std::int64_t>(value));
        } else {
            hold(static_cast<std::uint64_t>(value));
            kind_ = Kind::uint64;
        }
    }
    Value(double value) noexcept : kind_(Kind::float64) { hold(value); }
    /// Strings are generalised UTF-8 (json/Encoding.hpp). Not checked here; the writer refuses anything else.
    Value(Text text) noexcept : kind_(Kind::string) { hold(std::move(text)); }
    Value(std::string_view text) : Value(Text(text)) {}
    Value(const std::string& text) : Value(Text(text)) {}
    Value(const char* text) : Value(Text(text)) {}
    Value(std::u16string_view text);
    Value(const std::u16string& text) : Value(std::u16string_view(text)) {}
    Value(const char16_t* text) : Value(std::u16string_view(text)) {}
    Value(Array array) noexcept : kind_(Kind::array) { hold(std::move(array)); }
    Value(Object object) noexcept;

    Value(const Value& other);
    /// The source becomes null.
    Value(Value&& other) noexcept { steal(other); }
    Value& operator=(Value other) noexcept {
        release();
        steal(other);
        return *this;
    }
    ~Value() { release(); }

    Kind kind() const noexcept { return kind_; }
    bool isNull() const noexcept { return kind_ == Kind::null; }
    bool isInteger() const noexcept { return kind_ == Kind::int64 || kind_ == Kind::uint64; }
    bool isNumber() const noexcept { return isInteger() || kind_ == Kind::float64; }
    bool isString() const noexcept { return kind_ == Kind::string; }
    bool isArray() const noexcept { return kind_ == Kind::array; }
    bool isObject() const noexcept { return kind_ == Kind::object; }

    // All of these throw TypeError when the value is not what they ask for.
    bool asBool() const { return checked<bool>(Kind::boolean); }
    /// Exact: a double is refused also when it is a whole number.
    std::int64_t asInt64() const;
    std::uint64_t asUint64() const;
    /// Any number; a large integer is rounded to the nearest double.
    double asDouble() const;
    /// Valid as long as this object is neither assigned to, moved from nor destroyed.
    std::string_view asString() const { return checked<Text>(Kind::string).view(); }
    /// Also std::invalid_argument when the string is not generalised UTF-8.
    std::u16string asUtf16() const;
    const Array& asArray() const { return checked<Array>(Kind::array); }
    Array& asArray() { return const_cast<Array&>(std::as_const(*this).asArray()); }
    const Object& asObject() const { return checked<Object>(Kind::object); }
    Object& asObject() { return const_cast<Object&>(std::as_const(*this).asObject()); }

    /// Null pointer when the value is something else.
    const Array* ifArray() const noexcept { return isArray() ? &stored<Array>() : nullptr; }
    const Object* ifObject() const noexcept { return isObject() ? &stored<Object>() : nullptr; }

    /// Numbers are equal when they are the same number, whichever kind holds them; 0 and -0 differ, NaN
    /// equals NaN.
    friend VARNEK_EXPORT bool operator==(const Value& a, const Value& b) noexcept;

  private:
    // Text, Array and Object are addresses or plain bytes, so that a Value moves as bytes whatever it holds.
    static constexpr std::size_t storageSize = 15;

    template <class T>
    void hold(T value) noexcept {
        static_assert(sizeof(T) <= storageSize && alignof(T) <= 8);
        ::new (static_cast<void*>(storage_)) T(std::move(value));
    }
    template <class T>
    const T& stored() const noexcept {
        return *std::launder(reinterpret_cast<const T*>(storage_));
    }
    template <class T>
    const T& checked(Kind kind) const {
        if (kind_ != kind)
            throwTypeError(kindText(kind));
        return stored<T>();
    }
    void steal(Value& other) noexcept {
        std::memcpy(storage_, other.storage_, storageSize);
        kind_ = std::exchange(other.kind_, Kind::null);
    }
    void release() noexcept {
        if (kind_ >= Kind::string)
            destroy();
    }
    void destroy() noexcept;
    [[noreturn]] void throwTypeError(std::string_view expected) const;

    alignas(8) std::byte storage_[storageSize]{};
    Kind kind_ = Kind::null;
};

static_assert(sizeof(Value) == 16);

struct Member {
    Text key;
    Value value;

    friend bool operator==(const Member&, const Member&) noexcept = default;
};

/// Members with unique keys in ascending byte order, which is also the order of iteration and of writing.
class VARNEK_EXPORT Object {
  public:
    Object() noexcept = default;
    /// std::invalid_argument when a key stands twice.
    Object(std::initializer_list<Member> members);
    /// Sorts `members` and takes them over; when a key stands twice, they stay with the caller (sorted), and
    /// the result is nothing.
    static std::optional<Object> fromMembers(Sequence<Member>& members);

    std::size_t size() const noexcept { return members_.size(); }
    bool empty() const noexcept { return members_.empty(); }
    const Member* begin() const noexcept { return members_.begin(); }
    const Member* end() const noexcept { return members_.end(); }
    void reserve(std::size_t members) { members_.reserve(members); }

    /// The value of `key`, or null. Logarithmic; allocates nothing.
    const Value* find(std::string_view key) const noexcept;
    Value* find(std::string_view key) noexcept { return const_cast<Value*>(std::as_const(*this).find(key)); }
    bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }
    /// std::out_of_range when there is no such member.
    const Value& at(std::string_view key) const;

    /// Adds the member or replaces its value. Constant time when keys come in ascending order.
    Value& set(std::string_view key, Value value);
    /// True when the member was there.
    bool erase(std::string_view key) noexcept;

    friend bool operator==(const Object&, const Object&) noexcept = default;

  private:
    Sequence<Member> members_;
};

} // namespace varnek::json
