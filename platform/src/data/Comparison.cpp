// Equality of arrays.
#include "data/Block.hpp"

#include <cmath>

namespace varnek::data {

namespace {

template <class T>
bool sameElement(const T& a, const T& b) noexcept {
    if constexpr (std::is_floating_point_v<T>)
        return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
    else
        return a == b;
}

template <class T>
bool sameElement(const std::complex<T>& a, const std::complex<T>& b) noexcept {
    return sameElement(a.real(), b.real()) && sameElement(a.imag(), b.imag());
}

template <class T>
bool sameElements(const Array& a, const Array& b) {
    const auto left = a.elements<T>();
    const auto right = b.elements<T>();
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const T& x, const T& y) noexcept { return sameElement(x, y); });
}

bool sameElementsOfType(const Array& a, const Array& b) {
    switch (a.type()) {
#define VARNEK_COMPARE(T)                                                                                    \
    case typeCodeOf<T>:                                                                                      \
        return sameElements<T>(a, b);
        VARNEK_DATA_ELEMENT_TYPES(VARNEK_COMPARE)
#undef VARNEK_COMPARE
    default:
        return true;
    }
}

} // namespace

bool operator==(const Array& a, const Array& b) noexcept {
    if (a.type_ != b.type_ || a.inline_ != b.inline_)
        return false;
    if (!a.inline_ && (!a.isShared() || a.block() == b.block()))
        return true;
    const auto left = a.dimensions();
    const auto right = b.dimensions();
    if (!std::equal(left.begin(), left.end(), right.begin(), right.end()))
        return false;
    if (a.type_ == TypeCode::structure) {
        const auto& x = static_cast<const detail::StructureBlock&>(*a.block());
        const auto& y = static_cast<const detail::StructureBlock&>(*b.block());
        return x.names == y.names && x.storage == y.storage;
    }
    return sameElementsOfType(a, b);
}

} // namespace varnek::data
