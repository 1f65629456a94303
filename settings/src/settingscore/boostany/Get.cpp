// The typed extraction from a generic holder, instantiated for every alternative.

#include "settingscore/boostany/HeldValue.hpp"
#include "settingscore/boostany/NumberConversion.hpp"
#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/boostany/UnconvertibleType.hpp"

#include <algorithm>
#include <iterator>

namespace settingscore::boostany {

namespace detail {
namespace {

template <class T>
struct ConvertTo {
    bool convert;

    T operator()(boost::blank) const { throw boost::bad_any_cast(); }

    template <class From>
    T operator()(const From& value) const {
        if constexpr (std::is_same_v<T, From>) {
            return value; // reached through a type information of another library
        } else {
            if (!convert)
                throw TypeNotMatch();
            if constexpr (isTextType<From> != isTextType<T>)
                throw VARNEK::settings::core::UnconvertibleType(nameOfType<From>(), nameOfType<T>());
            else
                return converted(value);
        }
    }

  private:
    template <class From>
    static T converted(const From& value) {
        if constexpr (!isVectorType<From> && !isVectorType<T>) {
            return convertNumber<T>(value);
        } else if constexpr (!isVectorType<From>) {
            return T{element(value)};
        } else if constexpr (!isVectorType<T>) {
            if (value.size() != 1)
                throw EmptyVectorCastToScalar();
            return element(static_cast<Element<From>>(value.front()));
        } else {
            T all;
            all.reserve(value.size());
            for (const auto& one : value)
                all.push_back(element(static_cast<Element<From>>(one)));
            return all;
        }
    }

    template <class From>
    static Element<T> element(const From& value) {
        if constexpr (std::is_same_v<Element<T>, From>)
            return value;
        else
            return convertNumber<Element<T>>(value);
    }
};

} // namespace
} // namespace detail

template <SupportedType T>
T get(const boost::any& value, bool convert) {
    if (const T* held = boost::any_cast<T>(&value))
        return *held;
    detail::assertIfTypeNotExported(value.type());
    return detail::visitHeld(value, detail::ConvertTo<T>{convert});
}

#define INSTANTIATE_GET(T)                                                                                   \
    template SETTINGSCORE_EXPORT T get<T>(const boost::any&, bool);                                          \
    template SETTINGSCORE_EXPORT std::vector<T> get<std::vector<T>>(const boost::any&, bool);
INSTANTIATE_GET(std::u16string)
INSTANTIATE_GET(bool)
INSTANTIATE_GET(signed char)
INSTANTIATE_GET(unsigned char)
INSTANTIATE_GET(short)
INSTANTIATE_GET(unsigned short)
INSTANTIATE_GET(int)
INSTANTIATE_GET(unsigned int)
INSTANTIATE_GET(std::int64_t)
INSTANTIATE_GET(std::uint64_t)
INSTANTIATE_GET(float)
INSTANTIATE_GET(double)
#undef INSTANTIATE_GET

} // namespace settingscore::boostany
