#include "settingscore/factoryfile/TypeCover.hpp"

namespace settings::core::detail {

using varnek::data::TypeCode;

namespace {

struct Digits {
    int bits; // of whole numbers that are held exactly, without the sign
    bool isSigned;
    bool isFloat;
};

Digits digitsOf(TypeCode type) noexcept {
    switch (type) {
    case TypeCode::logical:
        return {1, false, false};
    case TypeCode::int8:
        return {7, true, false};
    case TypeCode::uint8:
        return {8, false, false};
    case TypeCode::int16:
        return {15, true, false};
    case TypeCode::uint16:
        return {16, false, false};
    case TypeCode::int32:
        return {31, true, false};
    case TypeCode::uint32:
        return {32, false, false};
    case TypeCode::int64:
        return {63, true, false};
    case TypeCode::uint64:
        return {64, false, false};
    case TypeCode::float32:
        return {24, true, true};
    case TypeCode::float64:
        return {53, true, true};
    default:
        return {0, false, false};
    }
}

bool holdsAnyTexts(TypeCode type) noexcept {
    return type == TypeCode::string || type == TypeCode::cell;
}

} // namespace

bool holdsAllValues(TypeCode wide, TypeCode narrow) noexcept {
    if (wide == narrow)
        return true;
    if (narrow == TypeCode::character || holdsAnyTexts(narrow))
        return holdsAnyTexts(wide);
    const Digits a = digitsOf(wide), b = digitsOf(narrow);
    return b.bits != 0 && a.bits >= b.bits && (a.isSigned || !b.isSigned) && (a.isFloat || !b.isFloat);
}

} // namespace settings::core::detail
