#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/validation/ElementVisit.hpp"
#include "settingscore/validation/ValueKinds.hpp"

#include <cmath>
#include <concepts>
#include <limits>
#include <optional>

namespace settings::core {

using boost::shared_ptr;
using detail::CheckFunction;
using varnek::data::Array;

namespace {

void checkNumeric(const shared_ptr<const Settings>& setting, const shared_ptr<Settings>& parent,
                  const Array& value) {
    if (!isInteger(value.type()) && !isFloat(value.type()))
        throw exception::ValueMustBeNumeric(setting, parent);
}

void checkInteger(const shared_ptr<const Settings>& setting, const shared_ptr<Settings>& parent,
                  const Array& value) {
    bool whole = true;
    const bool isNumeric = detail::visitNumbers(value, [&]<class T>(std::span<const T> elements) {
        if constexpr (std::is_floating_point_v<T>)
            whole = detail::firstFailing(elements,
                                         [](T element) { return element == std::floor(element); }) == nullptr;
    });
    if (!isNumeric || !whole)
        throw exception::ValueMustBeInteger(setting, parent);
}

template <class T>
std::u16string text(T number) {
    const std::string digits = settingscore::boostany::numberText(boost::any(number));
    return {digits.begin(), digits.end()};
}

std::u16string text(boost::optional<double> bound) {
    return bound ? text(*bound) : std::u16string();
}

/// What lies between the bounds, as numbers of the elements' own type.
template <class T>
struct Interval {
    T lowest;
    T highest;

    bool contains(T element) const { return lowest <= element && element <= highest; }
};

/// Nothing when no number of the type passes.
template <std::integral T>
std::optional<Interval<T>> interval(boost::optional<double> minimum, boost::optional<double> maximum) {
    using Limits = std::numeric_limits<T>;
    const double end = std::ldexp(1.0, Limits::digits); // the first number above the type
    const double begin = Limits::is_signed ? -end : 0.0;
    const double from = minimum ? std::ceil(*minimum) : begin;
    const double to = maximum ? std::floor(*maximum) : end;
    if (!(from < end && to >= begin)) // a bound that is NaN lets nothing pass
        return std::nullopt;
    return Interval<T>{from <= begin ? Limits::min() : static_cast<T>(from),
                       to >= end ? Limits::max() : static_cast<T>(to)};
}

/// Single is compared as double, where every number of it has its exact place.
template <std::floating_point T>
std::optional<Interval<double>> interval(boost::optional<double> minimum, boost::optional<double> maximum) {
    return Interval<double>{minimum.value_or(-HUGE_VAL), maximum.value_or(HUGE_VAL)};
}

class RangeCheck {
  public:
    RangeCheck(boost::optional<double> minimum, boost::optional<double> maximum)
        : minimum_(minimum), maximum_(maximum) {}

    void operator()(const shared_ptr<const Settings>& setting, const shared_ptr<Settings>& parent,
                    const Array& value) const {
        if (!minimum_ && !maximum_)
            return;
        detail::visitNumbers(value, [&]<class T>(std::span<const T> elements) {
            const auto allowed = interval<T>(minimum_, maximum_);
            const T* outside = nullptr;
            if (allowed)
                outside = detail::firstFailing(
                    elements, [range = *allowed](T element) { return range.contains(element); });
            else if (!elements.empty())
                outside = &elements.front();
            if (outside != nullptr)
                throw exception::ValueIsNotInRange(setting, parent, text(*outside), text(minimum_),
                                                   text(maximum_));
        });
    }

  private:
    boost::optional<double> minimum_;
    boost::optional<double> maximum_;
};

/// Cuts fractions off towards zero; the checks leave none.
Array asInt64(const Array& value) {
    std::optional<Array> converted;
    detail::visitNumbers(value, [&]<class T>(std::span<const T> elements) {
        if constexpr (std::is_floating_point_v<T>) {
            constexpr double end = 9223372036854775808.0; // 2^63
            const auto fits = [](T element) {
                return static_cast<double>(element) >= -end && static_cast<double>(element) < end;
            };
            if (detail::firstFailing(elements, fits) != nullptr)
                throw exception::ValueMustBeInteger({}, {});
            const auto extents = value.dimensions();
            std::vector<std::int64_t> integers(elements.begin(), elements.end());
            converted = Array::make<std::int64_t>({extents.begin(), extents.end()}, std::move(integers));
        }
    });
    return converted ? *std::move(converted) : value;
}

} // namespace

template <class Shape>
void NumericMetaData<Shape>::addValidators(std::vector<CheckFunction>& checks) const {
    Shape::addValidators(checks);
    checks.emplace_back(integer_ ? &checkInteger : &checkNumeric);
    checks.emplace_back(RangeCheck(getMinValue(), getMaxValue()));
}

template <class Shape>
void NumericMetaData<Shape>::addConverter(detail::Converter& converter) const {
    if (integer_)
        converter = &asInt64;
}

template class NumericMetaData<MustBeScalar>;
template class NumericMetaData<MustBeVector>;
template class NumericMetaData<AnyShape>;

} // namespace settings::core
