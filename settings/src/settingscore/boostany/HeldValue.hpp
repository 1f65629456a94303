/// Looking into a generic holder, and the traits of what may be in it.
#pragma once

#include "settingscore/boostany/SupportedTypes.hpp"
#include "varnek/data/Array.hpp"

#include <boost/optional.hpp>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace settingscore::boostany::detail {

/// The element type of a vector alternative; a scalar alternative is its own.
template <class T>
struct ElementOf {
    using type = T;
    static constexpr bool isVector = false;
};
template <class E>
struct ElementOf<std::vector<E>> {
    using type = E;
    static constexpr bool isVector = true;
};

template <class T>
using Element = typename ElementOf<T>::type;
template <class T>
inline constexpr bool isVectorType = ElementOf<T>::isVector;
template <class T>
inline constexpr bool isTextType = std::is_same_v<Element<T>, std::u16string>;

/// The type's name in messages: "double", "int32 vector", "char" for one text, "string vector".
template <SupportedType T>
std::string nameOfType() {
    using varnek::data::TypeCode;
    if constexpr (std::is_same_v<T, std::u16string>)
        return std::string(className(TypeCode::character));
    else if constexpr (isVectorType<T>)
        return std::string(className(varnek::data::typeCodeOf<Element<T>>)) + " vector";
    else
        return std::string(className(varnek::data::typeCodeOf<T>));
}

template <class Visitor, class Result, class... All>
Result visitHeld(const boost::any& value, const Visitor& visitor, AlternativeList<boost::blank, All...>) {
    boost::optional<Result> result;
    const auto tryOne = [&]<class T>(std::type_identity<T>) {
        const T* held = boost::any_cast<T>(&value);
        if (held != nullptr)
            result = visitor(*held);
        return held != nullptr;
    };
    if (value.empty())
        result = visitor(boost::blank());
    else if (!(tryOne(std::type_identity<All>()) || ... || tryOne(std::type_identity<boost::blank>())))
        throw UnsupportedAnyType(value.type());
    return std::move(*result);
}

/// Calls the visitor with the held value, or with boost::blank for an empty holder. UnsupportedAnyType.
template <class Visitor>
auto visitHeld(const boost::any& value, const Visitor& visitor) {
    using Result = decltype(visitor(boost::blank()));
    return visitHeld<Visitor, Result>(value, visitor, Alternatives());
}

} // namespace settingscore::boostany::detail
