/// The shapes that a declarative validator can ask of a value. Plain values.
#pragma once

#include "settingscore/validation/Bound.hpp"

#include <boost/optional.hpp>

#include <cstdint>

namespace settings::core {

/// One element, or one text.
class MustBeScalar {
  public:
    friend bool operator==(const MustBeScalar&, const MustBeScalar&) = default;
};

/// A row or a column. A bound of 0 is no bound.
class MustBeVector {
  public:
    void setMinNumberOfElements(std::uint64_t count) { minimum_.set(count); }
    void setMaxNumberOfElements(std::uint64_t count) { maximum_.set(count); }
    boost::optional<std::uint64_t> getMinNumberOfElements() const { return minimum_.get(); }
    boost::optional<std::uint64_t> getMaxNumberOfElements() const { return maximum_.get(); }

    friend bool operator==(const MustBeVector&, const MustBeVector&) = default;

  private:
    detail::Bound<std::uint64_t> minimum_;
    detail::Bound<std::uint64_t> maximum_;
};

class AnyShape {
  public:
    friend bool operator==(const AnyShape&, const AnyShape&) = default;
};

} // namespace settings::core
