#include "varnek/data/TypeCode.hpp"

#include <array>
#include <utility>

namespace varnek::data {

namespace {

struct ClassName {
    TypeCode type;
    std::string_view name;
    bool namesThisType; // false where the name stands for another type already
};

constexpr std::array classNames{
    ClassName{TypeCode::empty, "empty", true},
    ClassName{TypeCode::logical, "logical", true},
    ClassName{TypeCode::character, "char", true},
    ClassName{TypeCode::string, "string", true},
    ClassName{TypeCode::float64, "double", true},
    ClassName{TypeCode::float32, "single", true},
    ClassName{TypeCode::int8, "int8", true},
    ClassName{TypeCode::uint8, "uint8", true},
    ClassName{TypeCode::int16, "int16", true},
    ClassName{TypeCode::uint16, "uint16", true},
    ClassName{TypeCode::int32, "int32", true},
    ClassName{TypeCode::uint32, "uint32", true},
    ClassName{TypeCode::int64, "int64", true},
    ClassName{TypeCode::uint64, "uint64", true},
    ClassName{TypeCode::complexFloat64, "double", false},
    ClassName{TypeCode::complexFloat32, "single", false},
    ClassName{TypeCode::cell, "cell", true},
    ClassName{TypeCode::structure, "struct", true},
};

} // namespace

std::string_view className(TypeCode type) noexcept {
    for (const auto& entry : classNames) {
        if (entry.type == type)
            return entry.name;
    }
    return "unknown";
}

std::optional<TypeCode> typeOfClassName(std::string_view name) noexcept {
    for (const auto& entry : classNames) {
        if (entry.namesThisType && entry.name == name)
            return entry.type;
    }
    return std::nullopt;
}

} // namespace varnek::data
