/// A number that may be absent.
#pragma once

#include <boost/optional.hpp>

namespace settings::core::detail {

/// Holds a value also when it is absent: copying a boost::optional without one makes compilers warn of
/// uninitialised memory wherever a variant of definitions is copied.
template <class Number>
class Bound {
  public:
    void set(Number value) noexcept {
        value_ = value;
        present_ = true;
    }
    boost::optional<Number> get() const { return boost::make_optional(present_, value_); }

    friend bool operator==(const Bound&, const Bound&) = default;

  private:
    Number value_{};
    bool present_ = false;
};

} // namespace settings::core::detail
