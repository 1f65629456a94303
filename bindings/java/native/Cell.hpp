/// What a Java object holds of this library: the address of a cell with a shared handle inside.
///
/// close() in Java empties the cell, at any time, also while other threads use the object; calls that have
/// taken the handle out keep it until they end. The cell itself is freed by the cleaner of the Java object,
/// after which no call can be under way, since every native method is given the object itself.
#pragma once

#include <jni.h>

#include <mutex>
#include <stdexcept>
#include <utility>

namespace vksettings::java {

/// Not possible now; in Java an IllegalStateException.
class IllegalState : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

/// The Java object was closed.
class Closed : public IllegalState {
  public:
    Closed() : IllegalState("this object is closed") {}
};

/// `Handle` is copyable and default-constructible as "nothing". Thread-safe.
template <class Handle>
class Cell {
  public:
    explicit Cell(Handle handle) : handle_(std::move(handle)) {}

    /// Closed.
    Handle get() const {
        const std::lock_guard lock(mutex_);
        if (isClosed_)
            throw Closed();
        return handle_;
    }
    /// Nothing when it is closed already. What the handle held is dropped by the caller.
    Handle close() {
        const std::lock_guard lock(mutex_);
        isClosed_ = true;
        return std::exchange(handle_, Handle());
    }

    jlong address() const { return reinterpret_cast<jlong>(this); }
    static Cell& at(jlong address) { return *reinterpret_cast<Cell*>(address); }

  private:
    mutable std::mutex mutex_;
    Handle handle_;
    bool isClosed_ = false;
};

} // namespace vksettings::java
