/// How each kind of field of a failure crosses.
#pragma once

#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/exception/RemoteCallFailed.hpp"
#include "settingscore/level/SettingsLevel.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/spf/FailureCoding.hpp"
#include "varnek/data/Array.hpp"

#include <concepts>
#include <cstdint>
#include <string>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <vector>

namespace settings::spf::fields {

using core::exception::ObjectHandle;
using varnek::data::Array;
using varnek::spf::Value;

[[noreturn]] inline void refuse(const char* what) {
    throw varnek::spf::RemoteError(varnek::spf::RemoteErrorKind::malformed, what);
}

// ---- what crosses ----

inline Value encode(const std::string& text, const HandleCoding&) {
    return text;
}
/// As an array, since a path may hold what is no UTF-16.
inline Value encode(const std::u16string& text, const HandleCoding&) {
    return Array::text(text);
}
template <class T>
requires std::integral<T> || std::is_enum_v<T> Value encode(T number, const HandleCoding&) {
    return std::int64_t(number);
}
inline Value encode(const Array& value, const HandleCoding&) {
    return value;
}
template <class T>
Value encode(const std::vector<T>& list, const HandleCoding& handles) {
    Value::List values;
    for (const T& item : list)
        values.push_back(encode(item, handles));
    return values;
}
inline Value encode(const ObjectHandle& handle, const HandleCoding& handles) {
    return handles.toValue(handle);
}
inline Value encode(const boost::shared_ptr<core::Settings>& handle, const HandleCoding& handles) {
    return handles.toValue(handle);
}
inline Value encode(const boost::shared_ptr<const core::SettingsLevel>& level, const HandleCoding&) {
    return level->levelName();
}
inline Value encode(std::type_index type, const HandleCoding&) {
    return type.name();
}

// ---- and back: what a constructor takes in the place of the field ----

template <class Field>
struct Decoding;

template <>
struct Decoding<std::string> {
    static std::string decode(const Value& value, const HandleCoding&) { return value.asText(); }
};
template <>
struct Decoding<const char*> : Decoding<std::string> {};
template <>
struct Decoding<std::u16string> {
    static std::u16string decode(const Value& value, const HandleCoding&) {
        const Array& text = value.asArray();
        if (text.type() != varnek::data::TypeCode::character)
            refuse("a text is none");
        return std::u16string(text.text());
    }
};
template <std::integral T>
struct Decoding<T> {
    static T decode(const Value& value, const HandleCoding&) {
        const std::int64_t number = value.asInteger();
        if (static_cast<std::int64_t>(static_cast<T>(number)) != number)
            refuse("a number is out of range");
        return static_cast<T>(number);
    }
};

/// Whether this process knows the value.
constexpr bool isKnown(core::exception::RemoteCallFailed::Fault fault) {
    using Fault = core::exception::RemoteCallFailed::Fault;
    return fault >= Fault::unreachable && fault <= Fault::provider;
}
constexpr bool isKnown(core::exception::ErrorReadingSettingsData::ErrorCode code) {
    using Code = core::exception::ErrorReadingSettingsData::ErrorCode;
    return (code <= Code::open && code >= Code::shape) ||
           (code <= Code::objectStart && code >= Code::trailingText);
}
template <class T>
requires std::is_enum_v<T>
struct Decoding<T> {
    static T decode(const Value& value, const HandleCoding& handles) {
        const T decoded{Decoding<std::underlying_type_t<T>>::decode(value, handles)};
        if (!isKnown(decoded))
            refuse("a code is not known");
        return decoded;
    }
};
template <>
struct Decoding<Array> {
    static Array decode(const Value& value, const HandleCoding&) { return value.asArray(); }
};
template <class T>
struct Decoding<std::vector<T>> {
    static std::vector<T> decode(const Value& value, const HandleCoding& handles) {
        std::vector<T> list;
        for (const Value& item : value.asList())
            list.push_back(Decoding<T>::decode(item, handles));
        return list;
    }
};
template <>
struct Decoding<ObjectHandle> {
    static ObjectHandle decode(const Value& value, const HandleCoding& handles) {
        return handles.toHandle(value);
    }
};
template <>
struct Decoding<boost::shared_ptr<core::Settings>> {
    static boost::shared_ptr<core::Settings> decode(const Value& value, const HandleCoding& handles) {
        return handles.toHandle(value);
    }
};
/// This process's level of that name.
template <>
struct Decoding<boost::shared_ptr<const core::SettingsLevel>> {
    static const core::SettingsLevel& decode(const Value& value, const HandleCoding&) {
        const auto* level = core::getSettingsLevelManagerInstance()->getSettingsLevelByName(value.asText());
        if (level == nullptr)
            refuse("there is no level of that name");
        return *level;
    }
};
/// Types that a value may have outside the value model; any other one becomes `void`.
template <>
struct Decoding<std::type_index> {
    static const std::type_info& decode(const Value& value, const HandleCoding&) {
        static const std::type_info* const known[] = {
            &typeid(Array),       &typeid(bool),           &typeid(signed char),
            &typeid(char),        &typeid(unsigned char),  &typeid(char16_t),
            &typeid(short),       &typeid(unsigned short), &typeid(int),
            &typeid(unsigned),    &typeid(std::int64_t),   &typeid(std::uint64_t),
            &typeid(float),       &typeid(double),         &typeid(std::string),
            &typeid(const char*), &typeid(std::u16string), &typeid(std::vector<double>),
        };
        for (const std::type_info* each : known)
            if (value.asText() == each->name())
                return *each;
        return typeid(void);
    }
};

} // namespace settings::spf::fields
