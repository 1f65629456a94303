/// Failures on their way between this library and Java.
#pragma once

#include "Machine.hpp"

#include "settingscore/exception/FunctionFailures.hpp"
#include "settingscore/exception/ValidationFailures.hpp"

#include <cxxabi.h>

#include <memory>
#include <type_traits>
#include <utility>

namespace vksettings::java {

/// A failure that began as a Java exception, which becomes the cause again of what a caller in Java gets.
class FromJava {
  public:
    explicit FromJava(std::shared_ptr<const GlobalRef> thrown) noexcept : thrown_(std::move(thrown)) {}
    virtual ~FromJava() = default;
    FromJava(const FromJava&) = default;
    FromJava& operator=(const FromJava&) = default;

    /// Null where there was no Java exception.
    jthrowable thrown() const noexcept {
        return thrown_ == nullptr ? nullptr : static_cast<jthrowable>(thrown_->get());
    }

  private:
    std::shared_ptr<const GlobalRef> thrown_;
};

/// `Failure` with that exception.
template <class Failure>
class JavaFailure : public Failure, public FromJava {
  public:
    template <class... Arguments>
    explicit JavaFailure(std::shared_ptr<const GlobalRef> thrown, Arguments&&... arguments)
        : Failure(std::forward<Arguments>(arguments)...), FromJava(std::move(thrown)) {}

    std::unique_ptr<varnek::exception::Exception> clone() const override {
        return std::make_unique<JavaFailure>(*this);
    }
    [[noreturn]] void rethrow() const override { throw *this; }
};

using RefusedByJava = JavaFailure<settings::core::exception::ExceptionFromValidationFunction>;
using JavaValidatorNotCalled = JavaFailure<settings::core::exception::ValidationFunctionInvokingError>;
using JavaDefaultNotCalled = JavaFailure<settings::core::exception::RunTimeFuncInvokingError>;

/// Makes the exception that is being handled the pending one of this thread: a vksettings.SettingsException
/// or a subclass, IllegalArgumentException, IllegalStateException or OutOfMemoryError; a PendingException
/// stays what it is.
void raiseInJava(JNIEnv& env) noexcept;

/// Runs the body of a native method. Whatever it throws becomes a Java exception, and the result zero.
template <class Body>
auto guarded(JNIEnv& env, Body body) -> decltype(body()) {
    try {
        return body();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        raiseInJava(env);
    }
    if constexpr (!std::is_void_v<decltype(body())>)
        return {};
}

} // namespace vksettings::java
