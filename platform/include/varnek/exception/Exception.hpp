/// The application's base exception: a std::exception that can be copied and raised again on another thread.
#pragma once

#include "varnek/Export.hpp"

#include <exception>
#include <memory>

namespace varnek::exception {

/// Base of every typed failure of the application. Immutable after construction, so that copies may be read
/// from any thread; what a subclass shares between copies must be immutable or thread-safe.
class VARNEK_EXPORT Exception : public std::exception {
  public:
    ~Exception() override;

    /// A copy of the most derived object.
    virtual std::unique_ptr<Exception> clone() const = 0;
    /// Throws a copy of the most derived object.
    [[noreturn]] virtual void rethrow() const = 0;

  protected:
    Exception() = default;
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
};

/// Supplies clone and rethrow of a concrete class: `class E : public Cloneable<E, Base>`.
template <class Derived, class Base>
class Cloneable : public Base {
  public:
    using Base::Base;
    std::unique_ptr<Exception> clone() const override {
        return std::make_unique<Derived>(static_cast<const Derived&>(*this));
    }
    [[noreturn]] void rethrow() const override { throw static_cast<const Derived&>(*this); }
};

} // namespace varnek::exception
