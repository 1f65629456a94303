#include "settingscore/boostany/TypedArray.hpp"

namespace settingscore::boostany::detail {

using varnek::data::Array;
using varnek::data::TypeCode;

template <SupportedType T>
T convertArray(const Array& array) {
    return get<T>(toAny(array, isVectorShape(array)), true);
}

std::u16string textOf(const Array& array) {
    if (array.type() == TypeCode::character && !isVectorShape(array))
        return array.text();
    if (array.type() == TypeCode::string && array.numberOfElements() == 1)
        return array.elements<std::u16string>().front();
    return convertArray<std::u16string>(array);
}

std::vector<std::u16string> textsOf(const Array& array) {
    if (array.type() == TypeCode::string) {
        const auto texts = array.elements<std::u16string>();
        return {texts.begin(), texts.end()};
    }
    return convertArray<std::vector<std::u16string>>(array);
}

char16_t onlyUnitOf(const Array& array) {
    if (array.type() == TypeCode::character && array.numberOfElements() == 1)
        return array.elements<char16_t>().front();
    const std::u16string text = textOf(array);
    if (text.size() != 1)
        throw EmptyVectorCastToScalar();
    return text.front();
}

#define INSTANTIATE_CONVERT(T)                                                                               \
    template T convertArray<T>(const Array&);                                                                \
    template std::vector<T> convertArray<std::vector<T>>(const Array&);
INSTANTIATE_CONVERT(std::u16string)
INSTANTIATE_CONVERT(bool)
INSTANTIATE_CONVERT(signed char)
INSTANTIATE_CONVERT(unsigned char)
INSTANTIATE_CONVERT(short)
INSTANTIATE_CONVERT(unsigned short)
INSTANTIATE_CONVERT(int)
INSTANTIATE_CONVERT(unsigned int)
INSTANTIATE_CONVERT(std::int64_t)
INSTANTIATE_CONVERT(std::uint64_t)
INSTANTIATE_CONVERT(float)
INSTANTIATE_CONVERT(double)
#undef INSTANTIATE_CONVERT

} // namespace settingscore::boostany::detail
