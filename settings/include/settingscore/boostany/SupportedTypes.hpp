/// The closed set of types that a setting may hold, and the conversions between their two generic forms.
///
/// The form of callers is `boost::any`, restricted to these types; the form of files and remote calls is the
/// variant SupportedTypes. All functions are thread-safe, change none of their arguments, and report every
/// failure by an exception.
///
/// `long long` is not `std::int64_t` on every platform: a holder of it counts as unsupported there.
#pragma once

#include "settingscore/Export.hpp"

#include <boost/any.hpp>
#include <boost/blank.hpp>
#include <boost/mpl/list/list0.hpp>
#include <boost/mpl/push_front.hpp>
#include <boost/variant/static_visitor.hpp>
#include <boost/variant/variant.hpp>

#include <cstdint>
#include <exception>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

namespace settingscore::boostany {

namespace detail {

/// The alternatives in order. Their positions identify types in files and between processes: never reorder.
template <class... Alternatives>
struct AlternativeList {};

using Alternatives = AlternativeList<boost::blank,                // 0: no value
                                     std::u16string,              // 1
                                     bool,                        // 2
                                     signed char,                 // 3
                                     unsigned char,               // 4
                                     short,                       // 5
                                     unsigned short,              // 6
                                     int,                         // 7
                                     unsigned int,                // 8
                                     std::int64_t,                // 9
                                     std::uint64_t,               // 10
                                     float,                       // 11
                                     double,                      // 12
                                     std::vector<std::u16string>, // 13
                                     std::vector<bool>,           // 14
                                     std::vector<signed char>,    // 15
                                     std::vector<unsigned char>,  // 16
                                     std::vector<short>,          // 17
                                     std::vector<unsigned short>, // 18
                                     std::vector<int>,            // 19
                                     std::vector<unsigned int>,   // 20
                                     std::vector<std::int64_t>,   // 21
                                     std::vector<std::uint64_t>,  // 22
                                     std::vector<float>,          // 23
                                     std::vector<double>>;        // 24

template <class List>
struct SequenceOf : boost::mpl::list0<> {};
template <class First, class... Rest>
struct SequenceOf<AlternativeList<First, Rest...>>
    : boost::mpl::push_front<typename SequenceOf<AlternativeList<Rest...>>::type, First> {};

template <class T, class List>
struct IsAlternative;
template <class T, class... All>
struct IsAlternative<T, AlternativeList<All...>> : std::disjunction<std::is_same<T, All>...> {};

} // namespace detail

/// A variant of exactly the 25 alternatives, `which()` is the position. (It is made over a sequence because
/// boost::variant takes no more than twenty arguments.)
using SupportedTypes = boost::make_variant_over<detail::SequenceOf<detail::Alternatives>::type>::type;

/// An alternative that is a value: every one but the first.
template <class T>
concept SupportedType =
    detail::IsAlternative<T, detail::Alternatives>::value && !std::is_same_v<T, boost::blank>;

/// A holder of something that is not one of the supported types.
class SETTINGSCORE_EXPORT UnsupportedAnyType : public std::exception {
  public:
    explicit UnsupportedAnyType(const std::type_info& heldType) noexcept : heldType_(&heldType) {}
    ~UnsupportedAnyType() override;
    const char* what() const noexcept override;
    const std::type_info& heldType() const noexcept { return *heldType_; }

  private:
    const std::type_info* heldType_;
};

namespace detail {

/// A vector that has not exactly one element where one value is wanted. The text speaks of an empty vector in
/// every case.
class SETTINGSCORE_EXPORT EmptyVectorCastToScalar : public std::exception {
  public:
    ~EmptyVectorCastToScalar() override;
    const char* what() const noexcept override;
};

/// A value of another type where conversion was not allowed.
class SETTINGSCORE_EXPORT TypeNotMatch : public std::exception {
  public:
    ~TypeNotMatch() override;
    const char* what() const noexcept override;
};

/// Holder to variant; UnsupportedAnyType.
struct SETTINGSCORE_EXPORT CreateVariant {
    SupportedTypes operator()(const boost::any& value) const;
};

/// Variant alternative to holder; an empty holder for the empty alternative.
struct CreateAny : boost::static_visitor<boost::any> {
    boost::any operator()(boost::blank) const { return {}; }
    template <SupportedType T>
    boost::any operator()(const T& value) const {
        return value;
    }
};

/// Called with the held type before a value is converted. In a debug build it stops the program when the type
/// has the name of a supported one without being it, which happens when a library hides its type information.
/// Does nothing in a release build.
SETTINGSCORE_EXPORT void assertIfTypeNotExported(const std::type_info& heldType);

} // namespace detail

/// Whether the held type is one of the alternatives; true for an empty holder.
SETTINGSCORE_EXPORT bool isSupported(const boost::any& value);

/// True for one and the same holder; otherwise whether both hold the same alternative with equal values.
/// Numbers are compared exactly (so NaN differs from NaN in another holder); two empty holders are equal.
/// UnsupportedAnyType.
SETTINGSCORE_EXPORT bool isEqual(const boost::any& a, const boost::any& b);

/// The held value as a T. A held T is copied; nothing else is allocated.
///
/// Any other held type raises detail::TypeNotMatch when `convert` is false. When it is true:
/// - a scalar becomes a vector of one element, and a vector of exactly one element a scalar
///   (detail::EmptyVectorCastToScalar for other lengths); vectors convert element by element;
/// - number to number is checked: boost::numeric::positive_overflow or negative_overflow when the value does
/// not fit.
///   Fractions are cut off towards zero; NaN raises boost::numeric::bad_numeric_cast for an integer. Integers
///   become the nearest floating-point number; infinities and NaN stay what they are in `float`;
/// - true and false become 1 and 0. Only 0 and 1 become bool: numbers above 1 and below 0 overflow,
///   bad_numeric_cast for those between and for NaN;
/// - text and number do not convert into each other: VARNEK::settings::core::UnconvertibleType, whatever the
/// length.
///
/// UnsupportedAnyType for an unsupported held type; boost::bad_any_cast for an empty holder.
template <SupportedType T>
SETTINGSCORE_EXPORT T get(const boost::any& value, bool convert);

/// UnsupportedAnyType for a held type that is not an alternative.
SETTINGSCORE_EXPORT SupportedTypes convertAnyToVariant(const boost::any& value);
SETTINGSCORE_EXPORT boost::any convertVariantToAny(const SupportedTypes& value);

/// A held number or bool as narrow decimal text for messages, the shortest that reads back as the same
/// number. boost::bad_lexical_cast for anything else.
SETTINGSCORE_EXPORT std::string numberText(const boost::any& value);

} // namespace settingscore::boostany
