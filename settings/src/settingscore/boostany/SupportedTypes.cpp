#include "settingscore/boostany/SupportedTypes.hpp"

#include "settingscore/boostany/HeldValue.hpp"

#include <boost/lexical_cast/bad_lexical_cast.hpp>
#include <boost/variant/apply_visitor.hpp>

#include <array>
#include <cassert>
#include <charconv>
#include <string_view>

namespace settingscore::boostany {

UnsupportedAnyType::~UnsupportedAnyType() = default;

const char* UnsupportedAnyType::what() const noexcept {
    return "The type contained within the boost::any is not listed in "
           "settingscore::boostany::SupportedTypes.";
}

namespace detail {

EmptyVectorCastToScalar::~EmptyVectorCastToScalar() = default;

const char* EmptyVectorCastToScalar::what() const noexcept {
    return "empty vector cannot be used to initialize a scalar.";
}

TypeNotMatch::~TypeNotMatch() = default;

const char* TypeNotMatch::what() const noexcept {
    return "The desired type does not match the current type.";
}

SupportedTypes CreateVariant::operator()(const boost::any& value) const {
    return visitHeld(value, [](const auto& held) { return SupportedTypes(held); });
}

#ifdef NDEBUG
void assertIfTypeNotExported(const std::type_info&) {}
#else
namespace {

/// The name without the mark of a type whose information belongs to one library alone.
std::string_view plainName(const std::type_info& type) {
    const std::string_view name = type.name();
    return name.substr(name.starts_with('*') ? 1 : 0);
}

template <class... All>
bool hasForeignTypeInfo(const std::type_info& type, AlternativeList<All...>) {
    return ((type != typeid(All) && plainName(type) == plainName(typeid(All))) || ...);
}

} // namespace

void assertIfTypeNotExported(const std::type_info& heldType) {
    assert(!hasForeignTypeInfo(heldType, Alternatives()) &&
           "a library hides the type information of a supported type");
}
#endif

namespace {

struct NumberText {
    template <class T>
    std::string operator()(const T& value) const {
        if constexpr (std::is_same_v<T, bool>) {
            return value ? "1" : "0";
        } else if constexpr (std::is_arithmetic_v<T>) {
            std::array<char, 32> text{};
            const auto written = std::to_chars(text.data(), text.data() + text.size(), value);
            return {text.data(), written.ptr};
        } else {
            throw boost::bad_lexical_cast(typeid(T), typeid(std::string));
        }
    }
};

} // namespace
} // namespace detail

bool isSupported(const boost::any& value) {
    try {
        return detail::visitHeld(value, [](const auto&) { return true; });
    } catch (const UnsupportedAnyType&) {
        return false;
    }
}

bool isEqual(const boost::any& a, const boost::any& b) {
    return &a == &b || convertAnyToVariant(a) == convertAnyToVariant(b);
}

SupportedTypes convertAnyToVariant(const boost::any& value) {
    return detail::CreateVariant()(value);
}

boost::any convertVariantToAny(const SupportedTypes& value) {
    return boost::apply_visitor(detail::CreateAny(), value);
}

std::string numberText(const boost::any& value) {
    return detail::visitHeld(value, detail::NumberText());
}

} // namespace settingscore::boostany
