#include "settingscore/boostany/ArrayConversion.hpp"

#include "settingscore/boostany/TypedArray.hpp"

#include <boost/variant/apply_visitor.hpp>

#include <algorithm>
#include <array>

namespace settingscore::boostany {

using varnek::data::Array;
using varnek::data::TypeCode;

namespace {

template <class T, class... All>
constexpr std::size_t positionOf(detail::AlternativeList<All...>) {
    constexpr std::array<bool, sizeof...(All)> matches = {std::is_same_v<T, All>...};
    return static_cast<std::size_t>(std::find(matches.begin(), matches.end(), true) - matches.begin());
}

/// Calls `numbers` with the element type of a logical or real numeric array, `texts` for the three forms of
/// text, `none` otherwise.
template <class Numbers, class Texts, class None>
auto dispatch(const Array& array, Numbers numbers, Texts texts, None none) {
    switch (array.type()) {
    case TypeCode::logical:
        return numbers(std::type_identity<bool>());
    case TypeCode::float64:
        return numbers(std::type_identity<double>());
    case TypeCode::float32:
        return numbers(std::type_identity<float>());
    case TypeCode::int8:
        return numbers(std::type_identity<signed char>());
    case TypeCode::uint8:
        return numbers(std::type_identity<unsigned char>());
    case TypeCode::int16:
        return numbers(std::type_identity<short>());
    case TypeCode::uint16:
        return numbers(std::type_identity<unsigned short>());
    case TypeCode::int32:
        return numbers(std::type_identity<int>());
    case TypeCode::uint32:
        return numbers(std::type_identity<unsigned int>());
    case TypeCode::int64:
        return numbers(std::type_identity<std::int64_t>());
    case TypeCode::uint64:
        return numbers(std::type_identity<std::uint64_t>());
    case TypeCode::character:
    case TypeCode::string:
        return texts();
    case TypeCode::cell:
        return isSupportedArray(array) ? texts() : none();
    default:
        return none();
    }
}

bool isOneText(const Array& array) noexcept {
    if (array.type() == TypeCode::character)
        return array.numberOfElements() <= 1 || array.isRowOrColumn();
    return array.numberOfElements() == 1;
}

template <class Holder>
Holder holderOf(const Array& array, bool isVector) {
    const auto numbers = [&]<class E>(std::type_identity<E>) {
        const auto elements = array.elements<E>();
        if (!isVector && elements.size() == 1)
            return Holder(E{elements.front()});
        return Holder(std::vector<E>(elements.begin(), elements.end()));
    };
    const auto texts = [&] {
        if (isVector || !isOneText(array))
            return Holder(array.texts());
        return Holder(array.type() == TypeCode::character ? array.text() : array.texts().front());
    };
    const auto none = [&]() -> Holder {
        if (array.isVoid())
            return {};
        throw UnsupportedAnyType(typeid(Array));
    };
    return dispatch(array, numbers, texts, none);
}

struct ToArray {
    ShapedArray operator()(boost::blank) const { return {}; }
    template <SupportedType T>
    ShapedArray operator()(const T& value) const {
        return arrayFrom(value);
    }
};

} // namespace

bool isSupportedArray(const Array& array) noexcept {
    if (array.type() == TypeCode::cell) {
        const auto elements = array.elements<Array>();
        return std::all_of(elements.begin(), elements.end(),
                           [](const Array& element) { return element.type() == TypeCode::character; });
    }
    return array.type() >= TypeCode::logical && array.type() <= TypeCode::uint64;
}

bool isVectorShape(const Array& array) noexcept {
    return !(array.numberOfElements() == 1 || (array.type() == TypeCode::character && isOneText(array)));
}

std::string typeName(const Array& array) {
    return std::string(className(array.type()));
}

std::size_t variantIndexOf(const Array& array, bool isVector) noexcept {
    constexpr detail::Alternatives list;
    const auto numbers = [&]<class E>(std::type_identity<E>) {
        return !isVector && array.numberOfElements() == 1 ? positionOf<E>(list)
                                                          : positionOf<std::vector<E>>(list);
    };
    const auto texts = [&] {
        return !isVector && isOneText(array) ? positionOf<std::u16string>(list)
                                             : positionOf<std::vector<std::u16string>>(list);
    };
    return dispatch(array, numbers, texts, [] { return std::size_t{0}; });
}

ShapedArray toArray(const boost::any& value) {
    return detail::visitHeld(value, ToArray());
}

ShapedArray toArray(const SupportedTypes& value) {
    return boost::apply_visitor([](const auto& held) { return ToArray()(held); }, value);
}

boost::any toAny(const Array& array, bool isVector) {
    return holderOf<boost::any>(array, isVector);
}

SupportedTypes toVariant(const Array& array, bool isVector) {
    return holderOf<SupportedTypes>(array, isVector);
}

} // namespace settingscore::boostany
