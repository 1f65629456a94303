// Declarative checks of a vector of a million doubles, against loops that make the same passes over it.

#include "Rows.hpp"

#include "settingscore/validation/SettingValueValidator.hpp"

#include <cmath>
#include <cstdlib>

namespace bench {

namespace {

using settings::core::MustBeVector;
using settings::core::NumericMetaData;
using settings::core::SettingValueValidator;
using varnek::data::Array;

constexpr std::size_t size = 1'000'000;
constexpr double highest = 1e6;

std::vector<double> wholeNumbers() {
    std::vector<double> numbers(size);
    for (std::size_t i = 0; i < size; ++i)
        numbers[i] = static_cast<double>(i * 7 % size);
    return numbers;
}

Work validation(bool integer) {
    NumericMetaData<MustBeVector> config;
    config.setMinValue(0);
    config.setMaxValue(highest);
    if (integer)
        config.mustBeInteger();
    const SettingValueValidator validator{SettingValueValidator::ConfigData(config)};
    return [validator, original = Array::row(wholeNumbers())] {
        Array value = original;
        validator.validateValue({}, {}, value);
        keep(value);
        return std::uint64_t(size);
    };
}

bool allInRange(const std::vector<double>& numbers, double from, double to) {
    for (const double number : numbers)
        if (!(from <= number && number <= to))
            return false;
    return true;
}

bool allWhole(const std::vector<double>& numbers) {
    for (const double number : numbers)
        if (number != std::floor(number))
            return false;
    return true;
}

Work loops(bool integer) {
    return [integer, numbers = wholeNumbers()] {
        bool passes = allInRange(numbers, 0, highest);
        if (integer) {
            passes = passes && allWhole(numbers) && allInRange(numbers, -9e18, 9e18);
            keep(std::vector<std::int64_t>(numbers.begin(), numbers.end()));
        }
        if (!passes)
            std::abort();
        return std::uint64_t(size);
    };
}

} // namespace

std::vector<Row> validationRows() {
    return {{"validation of 1e6 doubles against a range, per element",
             "<= 2x loop",
             {{"this library", validation(false)}, {"bare loop", loops(false)}}},
            {"the same, integers required and stored as int64",
             "<= 2x loops",
             {{"this library", validation(true)}, {"bare loops", loops(true)}}}};
}

} // namespace bench
