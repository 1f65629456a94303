#include "settingscore/factoryfile/ValueCheck.hpp"

#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/validation/ElementVisit.hpp"
#include "varnek/files/PathText.hpp"

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/static_visitor.hpp>

#include <cmath>

namespace settings::core::detail {

namespace {

using varnek::data::Array;
using varnek::files::messageUtf8;

std::string quoted(const std::u16string& value) {
    return "\"" + messageUtf8(value) + "\"";
}

/// "at least 1", "at most 9", "from 1 to 9"; an empty text is no bound.
std::string range(const std::string& min, const std::string& max) {
    if (!min.empty() && !max.empty())
        return "from " + min + " to " + max;
    return max.empty() ? "at least " + min : "at most " + max;
}

std::string bound(std::uint64_t size) {
    return size == 0 ? std::string() : std::to_string(size);
}

/// The first number that `passes` refuses, as text; empty when there is none, or the value is no number.
template <class Passes>
std::string firstRefused(const Array& value, Passes passes) {
    std::string text;
    visitNumbers(value, [&]<class T>(std::span<const T> elements) {
        if (const T* refused = firstFailing(elements, passes))
            text = settingscore::boostany::numberText(boost::any(*refused));
    });
    return text;
}

/// The texts that a validator of texts allows.
struct AllowedValues : boost::static_visitor<std::vector<std::u16string>> {
    template <class Shape>
    std::vector<std::u16string> operator()(const StringMetaData<Shape>& data) const {
        return data.getAllowedValues();
    }
    template <class Other>
    std::vector<std::u16string> operator()(const Other&) const {
        return {};
    }
};

std::string words(const exception::DataArraySizeOutOfRange& refusal, const Array& value) {
    if (value.numberOfElements() != 0 && !value.isRowOrColumn())
        return "must be a row or a column, is " + varnek::data::dimensionsText(value);
    return "must have " + range(bound(refusal.getMinArraySize()), bound(refusal.getMaxArraySize())) +
           " elements, has " + std::to_string(refusal.getActualArraySize());
}

std::string words(const exception::ValueIsNotInRange& refusal, const Array& value) {
    const std::string allowed =
        range(messageUtf8(refusal.getMinValueStr()), messageUtf8(refusal.getMaxValueStr()));
    const std::string refused = messageUtf8(refusal.getValueToSetStr());
    const bool isSize = visitTexts(value, [](std::u16string_view) {});
    return isSize ? "must have " + allowed + " UTF-16 units, has " + refused
                  : "must be " + allowed + ", " + refused + " is not";
}

std::string wordsOfChoices(const exception::ValueIsNotOneOfTheChoicesAndNotInRange& refusal,
                           const SettingValueValidator::ConfigData& validator) {
    std::string joined;
    for (const std::u16string& choice : boost::apply_visitor(AllowedValues(), validator))
        joined += (joined.empty() ? "" : ", ") + quoted(choice);
    return "must be one of " + joined + ", " + quoted(refusal.getValueToSetStr()) + " is not";
}

std::string wordsOfInteger(const Array& value) {
    const auto isWhole = [](auto element) {
        if constexpr (std::is_floating_point_v<decltype(element)>)
            return element == std::floor(element);
        return true;
    };
    if (const std::string fraction = firstRefused(value, isWhole); !fraction.empty())
        return "must be an integer, " + fraction + " is none";
    const auto fits = [](auto element) {
        const auto number = static_cast<double>(element);
        return number >= -0x1p63 && number < 0x1p63;
    };
    const bool isFloat = varnek::data::isFloat(value.type());
    const std::string tooLarge = isFloat ? firstRefused(value, fits) : std::string();
    return "must be an integer" + (tooLarge.empty() ? "" : ", " + tooLarge + " is more than 64 bits hold");
}

std::string wordsOfLogical(const Array& value) {
    const std::string refused =
        firstRefused(value, [](auto element) { return element == 0 || element == 1; });
    return "must be logical" + (refused.empty() ? "" : ", " + refused + " is neither 0 nor 1");
}

std::string words(const exception::ValidationException& refusal, const Array& value,
                  const SettingValueValidator::ConfigData& validator) {
    if (const auto* size = dynamic_cast<const exception::DataArraySizeOutOfRange*>(&refusal))
        return words(*size, value);
    if (const auto* outside = dynamic_cast<const exception::ValueIsNotInRange*>(&refusal))
        return words(*outside, value);
    if (const auto* choice = dynamic_cast<const exception::ValueIsNotOneOfTheChoicesAndNotInRange*>(&refusal))
        return wordsOfChoices(*choice, validator);
    switch (refusal.getErrorCode()) {
    case exception::ValidationErrorCode::valueMustBeScalar:
        return "must be one value, has " + std::to_string(value.numberOfElements()) + " elements";
    case exception::ValidationErrorCode::valueMustBeNumeric:
        return "must be a number";
    case exception::ValidationErrorCode::valueMustBeInteger:
        return wordsOfInteger(value);
    case exception::ValidationErrorCode::valueMustBeString:
        return "must be text";
    case exception::ValidationErrorCode::valueMustBeLogical:
        return wordsOfLogical(value);
    default:
        return refusal.what();
    }
}

} // namespace

std::optional<std::string> refusalOf(const SettingValueValidator::ConfigData& validator, const Array& value) {
    try {
        Array stored = value;
        SettingValueValidator(validator).validateValue({}, {}, stored);
        return std::nullopt;
    } catch (const exception::ValidationException& refusal) {
        return words(refusal, value, validator);
    }
}

std::optional<std::string> refusalOf(const std::vector<SettingValueValidator::ConfigData>& validators,
                                     const Array& value) {
    std::optional<std::string> reasons;
    for (const auto& validator : validators) {
        const auto refusal = refusalOf(validator, value);
        if (!refusal)
            return std::nullopt;
        reasons = reasons ? *reasons + "; or " + *refusal : *refusal;
    }
    return reasons;
}

} // namespace settings::core::detail
