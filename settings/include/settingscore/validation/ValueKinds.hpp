/// The kinds of value that a declarative validator can ask for, each over one of the shapes. Plain values.
#pragma once

#include "settingscore/validation/Bound.hpp"
#include "settingscore/validation/ValueShapes.hpp"

#include <boost/optional.hpp>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace settings::core {

/// Double, single or one of the eight integer types. Bounds are inclusive.
template <class Shape>
class NumericMetaData : public Shape {
  public:
    void mustBeInteger() { integer_ = true; }
    void setMinValue(double value) { minimum_.set(value); }
    void setMaxValue(double value) { maximum_.set(value); }
    bool isIntegerRequired() const { return integer_; }
    boost::optional<double> getMinValue() const { return minimum_.get(); }
    boost::optional<double> getMaxValue() const { return maximum_.get(); }

    friend bool operator==(const NumericMetaData&, const NumericMetaData&) = default;

  private:
    detail::Bound<double> minimum_;
    detail::Bound<double> maximum_;
    bool integer_ = false;
};

/// Text. Sizes are UTF-16 code units, inclusive; a bound of 0 is no bound. With allowed values each text must
/// be one of them, compared exactly.
template <class Shape>
class StringMetaData : public Shape {
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

    friend bool operator==(const StringMetaData&, const StringMetaData&) = default;

  private:
    std::vector<std::u16string> allowed_;
    detail::Bound<std::uint64_t> minimum_;
    detail::Bound<std::uint64_t> maximum_;
    bool storeAsCharVector_ = false;
};

/// Logical, or numbers that are all 0 or 1.
template <class Shape>
class MustBeLogical : public Shape {
  public:
    friend bool operator==(const MustBeLogical&, const MustBeLogical&) = default;
};

} // namespace settings::core
