/// The checked conversion of one number or bool into another type.
#pragma once

#include <boost/numeric/conversion/converter_policies.hpp>

#include <cmath>
#include <concepts>
#include <limits>
#include <type_traits>
#include <utility>

namespace settingscore::boostany::detail {

// The bounds are compared here and not by boost::numeric_cast: that one refuses the smallest 64-bit integer
// as a double, lets NaN through and calls an infinity too large for float.

template <std::floating_point From>
bool convertToBool(From value) {
    if (value > 1)
        throw boost::numeric::positive_overflow();
    if (value < 0)
        throw boost::numeric::negative_overflow();
    if (value != 0 && value != 1)
        throw boost::numeric::bad_numeric_cast();
    return value == 1;
}

template <std::integral From>
bool convertToBool(From value) {
    if (value > 1)
        throw boost::numeric::positive_overflow();
    if (std::cmp_less(value, 0))
        throw boost::numeric::negative_overflow();
    return value == 1;
}

template <std::integral To, std::integral From>
To convertInteger(From value) {
    if (std::cmp_greater(value, std::numeric_limits<To>::max()))
        throw boost::numeric::positive_overflow();
    if (std::cmp_less(value, std::numeric_limits<To>::min()))
        throw boost::numeric::negative_overflow();
    return static_cast<To>(value);
}

template <std::integral To, std::floating_point From>
To truncateToInteger(From value) {
    if (std::isnan(value))
        throw boost::numeric::bad_numeric_cast();
    const From whole = std::trunc(value);
    // Powers of two, so exact in every floating-point type; the largest integer itself may not be.
    if (whole >= std::ldexp(From{1}, std::numeric_limits<To>::digits))
        throw boost::numeric::positive_overflow();
    if (whole < static_cast<From>(std::numeric_limits<To>::min()))
        throw boost::numeric::negative_overflow();
    return static_cast<To>(whole);
}

template <std::floating_point To, std::floating_point From>
To convertFloat(From value) {
    if constexpr (std::numeric_limits<From>::max_exponent > std::numeric_limits<To>::max_exponent) {
        if (std::isfinite(value) && value > static_cast<From>(std::numeric_limits<To>::max()))
            throw boost::numeric::positive_overflow();
        if (std::isfinite(value) && value < static_cast<From>(std::numeric_limits<To>::lowest()))
            throw boost::numeric::negative_overflow();
    }
    return static_cast<To>(value);
}

template <class To, class From>
To convertNumber(From value) {
    if constexpr (std::is_same_v<To, From>)
        return value;
    else if constexpr (std::is_same_v<From, bool>)
        return static_cast<To>(value ? 1 : 0);
    else if constexpr (std::is_same_v<To, bool>)
        return convertToBool(value);
    else if constexpr (std::is_floating_point_v<To> && std::is_floating_point_v<From>)
        return convertFloat<To>(value);
    else if constexpr (std::is_floating_point_v<To>)
        return static_cast<To>(value);
    else if constexpr (std::is_floating_point_v<From>)
        return truncateToInteger<To>(value);
    else
        return convertInteger<To>(value);
}

} // namespace settingscore::boostany::detail
