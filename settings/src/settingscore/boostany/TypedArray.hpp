/// The direct way between a C++ value and a data array: no generic holder is built while the types fit.
#pragma once

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/boostany/HeldValue.hpp"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace settingscore::boostany {

/// What the typed operations of a handle take and give: the supported types and `char16_t`, a text of one
/// unit.
template <class T>
concept FrontType = SupportedType<T> || std::is_same_v<T, char16_t>;

namespace detail {

/// Through the generic holder: every array that does not hold T itself.
template <SupportedType T>
T convertArray(const varnek::data::Array& array);

char16_t onlyUnitOf(const varnek::data::Array& array);
std::u16string textOf(const varnek::data::Array& array);
std::vector<std::u16string> textsOf(const varnek::data::Array& array);

} // namespace detail

/// The array's value as a T: its elements column by column, the texts of a character array row by row. An
/// array that holds T is read directly and nothing but the result is allocated; every other array is
/// converted as by get<T>(toAny(array), true), with the same errors. A char16_t comes from a text of exactly
/// one unit (detail::EmptyVectorCastToScalar otherwise). boost::bad_any_cast for the void array.
template <FrontType T>
T fromArray(const varnek::data::Array& array) {
    using E = detail::Element<T>;
    if constexpr (std::is_same_v<T, char16_t>) {
        return detail::onlyUnitOf(array);
    } else if constexpr (std::is_same_v<T, std::u16string>) {
        return detail::textOf(array);
    } else if constexpr (std::is_same_v<E, std::u16string>) {
        return detail::textsOf(array);
    } else {
        if (array.type() == varnek::data::typeCodeOf<E>) [[likely]] {
            const auto elements = array.template elements<E>();
            if constexpr (detail::isVectorType<T>)
                return T(elements.begin(), elements.end());
            else if (elements.size() == 1) [[likely]]
                return elements.front();
        }
        return detail::convertArray<T>(array);
    }
}

/// The array that stands for the value, with its vector flag.
template <FrontType T>
ShapedArray arrayFrom(const T& value) {
    using varnek::data::Array;
    using E = detail::Element<T>;
    if constexpr (std::is_same_v<T, std::u16string>)
        return {Array::text(value), false};
    else if constexpr (!detail::isVectorType<T>)
        return {Array::scalar(value), false};
    else if (value.empty())
        return {Array::make<E>({0, 0}, {}), true};
    else
        return {Array::row(value), true};
}

} // namespace settingscore::boostany
