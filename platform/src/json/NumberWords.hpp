/// The strings that stand for numbers without a JSON form.
#pragma once

#include <string_view>

namespace varnek::json::detail {

inline constexpr std::string_view nanWord = "NaN";
inline constexpr std::string_view infinityWord = "Inf";
inline constexpr std::string_view minusInfinityWord = "-Inf";

} // namespace varnek::json::detail
