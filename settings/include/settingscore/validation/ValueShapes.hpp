/// The shapes that a declarative validator can ask of a value. Plain values.
///
/// addValidators appends what a class checks; addConverter installs its converter, or leaves the slot as it
/// is. Both copy what they need: the checks may outlive the object and be called from any threads.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/validation/Bound.hpp"
#include "settingscore/validation/CheckFunction.hpp"

#include <boost/optional.hpp>

#include <cstdint>
#include <vector>

namespace settings::core {

/// One element, or one text: exception::ValueMustBeScalar. Every character array passes.
class SETTINGSCORE_EXPORT MustBeScalar {
  public:
    void addValidators(std::vector<detail::CheckFunction>& checks) const;
    void addConverter(detail::Converter& converter) const;

    friend bool operator==(const MustBeScalar&, const MustBeScalar&) = default;
};

/// A row or a column, or nothing at all: exception::DataArraySizeOutOfRange. A bound of 0 is no bound. A
/// character array counts as one element, whatever its size.
class SETTINGSCORE_EXPORT MustBeVector {
  public:
    void setMinNumberOfElements(std::uint64_t count) { minimum_.set(count); }
    void setMaxNumberOfElements(std::uint64_t count) { maximum_.set(count); }
    boost::optional<std::uint64_t> getMinNumberOfElements() const { return minimum_.get(); }
    boost::optional<std::uint64_t> getMaxNumberOfElements() const { return maximum_.get(); }

    void addValidators(std::vector<detail::CheckFunction>& checks) const;
    void addConverter(detail::Converter& converter) const;

    friend bool operator==(const MustBeVector&, const MustBeVector&) = default;

  private:
    detail::Bound<std::uint64_t> minimum_;
    detail::Bound<std::uint64_t> maximum_;
};

class SETTINGSCORE_EXPORT AnyShape {
  public:
    void addValidators(std::vector<detail::CheckFunction>& checks) const;
    void addConverter(detail::Converter& converter) const;

    friend bool operator==(const AnyShape&, const AnyShape&) = default;
};

} // namespace settings::core
