/// The kinds of value that a declarative validator can ask for, each over one of the shapes. Plain values.
///
/// addValidators appends the checks of the shape, then those of the kind, in the order given at each class;
/// addConverter installs the converter of the kind, or leaves the slot as it is. They exist for the three
/// shapes of ValueShapes.hpp.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/validation/Bound.hpp"
#include "settingscore/validation/CheckFunction.hpp"
#include "settingscore/validation/ValueShapes.hpp"

#include <boost/optional.hpp>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace settings::core {

/// Double, single or one of the eight integer types. Bounds are inclusive and compare exactly, also with
/// 64-bit integers; NaN fails every bound.
///
/// Checks: exception::ValueMustBeInteger where integers are required, otherwise
/// exception::ValueMustBeNumeric; then exception::ValueIsNotInRange for the first element outside the bounds.
/// Infinities pass as integers. Converter, where integers are required: double and single become int64;
/// ValueMustBeInteger for what 64 bits do not hold, infinities among it.
template <class Shape>
class SETTINGSCORE_EXPORT NumericMetaData : public Shape {
  public:
    void mustBeInteger() { integer_ = true; }
    void setMinValue(double value) { minimum_.set(value); }
    void setMaxValue(double value) { maximum_.set(value); }
    bool isIntegerRequired() const { return integer_; }
    boost::optional<double> getMinValue() const { return minimum_.get(); }
    boost::optional<double> getMaxValue() const { return maximum_.get(); }

    void addValidators(std::vector<detail::CheckFunction>& checks) const;
    void addConverter(detail::Converter& converter) const;

    friend bool operator==(const NumericMetaData&, const NumericMetaData&) = default;

  private:
    detail::Bound<double> minimum_;
    detail::Bound<double> maximum_;
    bool integer_ = false;
};

/// Text: a character array (each row is a text; a row, a column and an empty array are one), a string array,
/// or a cell of character arrays. Sizes are UTF-16 code units, inclusive; a bound of 0 is no bound. With
/// allowed values each text must be one of them, compared exactly.
///
/// Checks: exception::ValueIsNotOneOfTheChoicesAndNotInRange where there are allowed values, then
/// exception::ValueIsNotInRange where there is a size bound; both raise exception::ValueMustBeString for what
/// is no text, and with neither of them that is checked alone. Converter, where asked for: a string becomes a
/// character array, several become a cell of character arrays.
template <class Shape>
class SETTINGSCORE_EXPORT StringMetaData : public Shape {
  public:
    void mustBeMember(std::vector<std::u16string> values) { allowed_ = std::move(values); }
    void setMinStringSize(std::uint64_t size) { minimum_.set(size); }
    void setMaxStringSize(std::uint64_t size) { maximum_.set(size); }
    /// Whether an accepted string is to be stored as a character array.
    void setStoreAsCharVector(bool store) { storeAsCharVector_ = store; }
    const std::vector<std::u16string>& getAllowedValues() const { return allowed_; }
    boost::optional<std::uint64_t> getMinStringSize() const { return minimum_.get(); }
    boost::optional<std::uint64_t> getMaxStringSize() const { return maximum_.get(); }
    bool isStoredAsCharVector() const { return storeAsCharVector_; }

    void addValidators(std::vector<detail::CheckFunction>& checks) const;
    void addConverter(detail::Converter& converter) const;

    friend bool operator==(const StringMetaData&, const StringMetaData&) = default;

  private:
    std::vector<std::u16string> allowed_;
    detail::Bound<std::uint64_t> minimum_;
    detail::Bound<std::uint64_t> maximum_;
    bool storeAsCharVector_ = false;
};

/// Logical, or numbers that are all 0 or 1: exception::ValueMustBeLogical. Converter: numbers become logical.
template <class Shape>
class SETTINGSCORE_EXPORT MustBeLogical : public Shape {
  public:
    void addValidators(std::vector<detail::CheckFunction>& checks) const;
    void addConverter(detail::Converter& converter) const;

    friend bool operator==(const MustBeLogical&, const MustBeLogical&) = default;
};

} // namespace settings::core
