#include "settingscore/factoryfile/ValueCheck.hpp"

#include "settingscore/boostany/SupportedTypes.hpp"
#include "json/Encoding.hpp"

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/static_visitor.hpp>

#include <algorithm>
#include <cmath>
#include <compare>
#include <concepts>
#include <cstdint>
#include <limits>

namespace settings::core::detail {

namespace {

using varnek::data::Array;
using varnek::data::TypeCode;
using Refusal = std::optional<std::string>;

std::string text(double number) {
    return settingscore::boostany::numberText(boost::any(number));
}
template <std::integral T>
std::string text(T number) {
    return std::to_string(number);
}

/// Exact, where a cast to double would round a 64-bit integer.
std::partial_ordering order(double element, double bound) {
    return element <=> bound;
}
template <std::integral T>
std::partial_ordering order(T element, double bound) {
    constexpr int valueBits = std::numeric_limits<T>::digits;
    if (std::isnan(bound))
        return std::partial_ordering::unordered;
    if (bound >= std::ldexp(1.0, valueBits))
        return std::partial_ordering::less;
    if (bound < static_cast<double>(std::numeric_limits<T>::min()))
        return std::partial_ordering::greater;
    const double whole = std::floor(bound);
    const auto floor = static_cast<T>(whole);
    if (element == floor && bound > whole)
        return std::partial_ordering::less;
    return element <=> floor;
}
std::string quoted(const std::u16string& value) {
    return "\"" + varnek::json::fromUtf16(value) + "\"";
}

/// "at least 1", "at most 9", "from 1 to 9".
template <class T>
std::string range(const boost::optional<T>& min, const boost::optional<T>& max) {
    const auto shown = [](const T& bound) { return text(bound); };
    if (min && max)
        return "from " + shown(*min) + " to " + shown(*max);
    return min ? "at least " + shown(*min) : "at most " + shown(*max);
}

/// Sizes, of which 0 is no bound.
Refusal sizeRefusal(std::uint64_t size, boost::optional<std::uint64_t> min,
                    boost::optional<std::uint64_t> max, const std::string& what) {
    if (min == std::uint64_t{0})
        min.reset();
    if (max == std::uint64_t{0})
        max.reset();
    if ((!min || size >= *min) && (!max || size <= *max))
        return std::nullopt;
    return "must have " + range(min, max) + " " + what + ", has " + std::to_string(size);
}

Refusal shapeRefusal(const MustBeScalar&, const Array& value) {
    if (value.type() == TypeCode::character || value.numberOfElements() == 1)
        return std::nullopt;
    return "must be one value, has " + std::to_string(value.numberOfElements()) + " elements";
}
Refusal shapeRefusal(const MustBeVector& shape, const Array& value) {
    if (value.numberOfElements() != 0 && !value.isRowOrColumn())
        return "must be a row or a column, is " + varnek::data::dimensionsText(value);
    const std::uint64_t count = value.type() == TypeCode::character ? 1 : value.numberOfElements();
    return sizeRefusal(count, shape.getMinNumberOfElements(), shape.getMaxNumberOfElements(), "elements");
}
Refusal shapeRefusal(const AnyShape&, const Array&) {
    return std::nullopt;
}

template <std::integral T>
T asTested(T element) {
    return element;
}
inline double asTested(double element) {
    return element;
}

/// Calls `test` with each element, single as double, until it answers something. Numbers and logical values
/// only.
template <class Test>
Refusal firstRefusal(const Array& value, Test test) {
    const auto all = [&]<class T>(T*) -> Refusal {
        for (const T element : value.elements<T>())
            if (Refusal refusal = test(asTested(element)))
                return refusal;
        return std::nullopt;
    };
    switch (value.type()) {
    case TypeCode::logical:
        return all(static_cast<bool*>(nullptr));
    case TypeCode::float64:
        return all(static_cast<double*>(nullptr));
    case TypeCode::float32:
        return all(static_cast<float*>(nullptr));
    case TypeCode::int8:
        return all(static_cast<std::int8_t*>(nullptr));
    case TypeCode::uint8:
        return all(static_cast<std::uint8_t*>(nullptr));
    case TypeCode::int16:
        return all(static_cast<std::int16_t*>(nullptr));
    case TypeCode::uint16:
        return all(static_cast<std::uint16_t*>(nullptr));
    case TypeCode::int32:
        return all(static_cast<std::int32_t*>(nullptr));
    case TypeCode::uint32:
        return all(static_cast<std::uint32_t*>(nullptr));
    case TypeCode::int64:
        return all(static_cast<std::int64_t*>(nullptr));
    case TypeCode::uint64:
        return all(static_cast<std::uint64_t*>(nullptr));
    default:
        return std::nullopt;
    }
}

bool isNumeric(TypeCode type) {
    return varnek::data::isInteger(type) || varnek::data::isFloat(type);
}

/// Nothing when the value is no text.
std::optional<std::vector<std::u16string>> textsOf(const Array& value) {
    if (value.type() == TypeCode::character && value.numberOfElements() == 0)
        return std::vector<std::u16string>{u""};
    const bool isText = value.type() == TypeCode::character || value.type() == TypeCode::string ||
                        (value.type() == TypeCode::cell &&
                         std::all_of(value.elements<Array>().begin(), value.elements<Array>().end(),
                                     [](const Array& e) { return e.type() == TypeCode::character; }));
    if (!isText)
        return std::nullopt;
    return value.texts();
}

class Check : public boost::static_visitor<Refusal> {
  public:
    explicit Check(const Array& value) : value_(value) {}

    template <class Shape>
    Refusal operator()(const NumericMetaData<Shape>& data) const {
        if (Refusal refusal = shapeRefusal(data, value_))
            return refusal;
        if (!isNumeric(value_.type()))
            return data.isIntegerRequired() ? "must be an integer" : "must be a number";
        return firstRefusal(value_, [&](auto element) -> Refusal {
            if constexpr (std::is_floating_point_v<decltype(element)>)
                if (data.isIntegerRequired() && element != std::floor(element))
                    return "must be an integer, " + text(element) + " is none";
            const auto min = data.getMinValue(), max = data.getMaxValue();
            if ((!min || std::is_gteq(order(element, *min))) && (!max || std::is_lteq(order(element, *max))))
                return std::nullopt;
            return "must be " + range(min, max) + ", " + text(element) + " is not";
        });
    }

    template <class Shape>
    Refusal operator()(const StringMetaData<Shape>& data) const {
        if (Refusal refusal = shapeRefusal(data, value_))
            return refusal;
        const auto texts = textsOf(value_);
        if (!texts)
            return "must be text";
        for (const std::u16string& each : *texts) {
            if (Refusal refusal = choiceRefusal(data.getAllowedValues(), each))
                return refusal;
            if (Refusal refusal = sizeRefusal(each.size(), data.getMinStringSize(), data.getMaxStringSize(),
                                              "UTF-16 units"))
                return refusal;
        }
        return std::nullopt;
    }

    template <class Shape>
    Refusal operator()(const MustBeLogical<Shape>& data) const {
        if (Refusal refusal = shapeRefusal(data, value_))
            return refusal;
        if (value_.type() != TypeCode::logical && !isNumeric(value_.type()))
            return "must be logical";
        return firstRefusal(value_, [](auto element) -> Refusal {
            if (element == 0 || element == 1)
                return std::nullopt;
            return "must be logical, " + text(element) + " is neither 0 nor 1";
        });
    }

  private:
    static Refusal choiceRefusal(const std::vector<std::u16string>& choices, const std::u16string& value) {
        if (choices.empty() || std::find(choices.begin(), choices.end(), value) != choices.end())
            return std::nullopt;
        std::string joined;
        for (const std::u16string& choice : choices)
            joined += (joined.empty() ? "" : ", ") + quoted(choice);
        return "must be one of " + joined + ", " + quoted(value) + " is not";
    }

    const Array& value_;
};

} // namespace

Refusal refusalOf(const SettingValueValidator::ConfigData& validator, const Array& value) {
    return boost::apply_visitor(Check(value), validator);
}

Refusal refusalOf(const std::vector<SettingValueValidator::ConfigData>& validators, const Array& value) {
    Refusal reasons;
    for (const auto& validator : validators) {
        const Refusal refusal = refusalOf(validator, value);
        if (!refusal)
            return std::nullopt;
        reasons = reasons ? *reasons + "; or " + *refusal : *refusal;
    }
    return reasons;
}

} // namespace settings::core::detail
