/// A value that cannot become the type that is asked for, such as text where a number is wanted.
#pragma once

#include "settingscore/Export.hpp"
#include "varnek/catalogue/MessageException.hpp"

#include <cstddef>
#include <string_view>

namespace VARNEK::settings::core {

struct SETTINGSCORE_EXPORT UnconvertibleTypeTag {
    static constexpr std::string_view component = "VARNEK:settings:core";
    static constexpr std::string_view key = "UnconvertibleType";
    static constexpr std::size_t argumentCount = 2;
};

/// (type of the value, requested type), as "char", "double", "int32 vector".
using UnconvertibleType = varnek::catalogue::MessageException<UnconvertibleTypeTag>;

} // namespace VARNEK::settings::core
