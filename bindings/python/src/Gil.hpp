/// The interpreter lock. The rule of this front end: whoever calls the settings library does not hold it,
/// since the library may wait for a lock or the disk, and may call back into Python on any thread.
#pragma once

#include <pybind11/pybind11.h>

#include <cxxabi.h>
#include <unistd.h>

#include <exception>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace settings::python {

/// Calls into the interpreter. One that is ending ends every other thread which asks for its lock, by
/// unwinding: that would run destructors that need the lock, and end the process at the first frame that lets
/// nothing through. Such a thread sleeps here instead until the process has ended. `call` throws nothing.
template <class Call>
auto orSleep(Call call) {
    // No handler: entering one beside another ends the process, and callers may be in one.
    struct SleepWhenUnwound {
        bool hasReturned = false;
        ~SleepWhenUnwound() {
            while (!hasReturned)
                ::pause();
        }
    } sleeper;
    if constexpr (std::is_void_v<std::invoke_result_t<Call>>) {
        call();
        sleeper.hasReturned = true;
    } else {
        const auto result = call();
        sleeper.hasReturned = true;
        return result;
    }
}

/// callable(*arguments), as everything else that runs code in Python.
template <class... Arguments>
pybind11::object callPython(pybind11::handle callable, Arguments&&... arguments) {
    const pybind11::tuple all = pybind11::make_tuple(std::forward<Arguments>(arguments)...);
    PyObject* const result = orSleep([&] { return PyObject_CallObject(callable.ptr(), all.ptr()); });
    if (result == nullptr)
        throw pybind11::error_already_set();
    return pybind11::reinterpret_steal<pybind11::object>(result);
}

/// Holds the lock, on a thread of the interpreter or any other.
class GilLock {
  public:
    /// std::runtime_error when the interpreter has ended, or is ending on another thread.
    GilLock() : state_(ensured()) {}
    GilLock(const GilLock&) = delete;
    GilLock& operator=(const GilLock&) = delete;
    ~GilLock() {
        orSleep([this] { PyGILState_Release(state_); });
    }

  private:
    static PyGILState_STATE ensured() {
        // What the interpreter has ended knows no thread any more, and cannot be asked for its lock.
        if (Py_IsInitialized() == 0 && PyGILState_GetThisThreadState() == nullptr)
            throw std::runtime_error("the interpreter has ended");
        return orSleep(&PyGILState_Ensure);
    }

    const PyGILState_STATE state_;
};

/// Calls without the lock, which the caller holds.
template <class Call>
auto withoutGil(Call call) {
    using Result = std::invoke_result_t<Call>;
    constexpr bool isVoid = std::is_void_v<Result>;
    std::optional<std::conditional_t<isVoid, bool, Result>> result;
    std::exception_ptr failure;
    PyThreadState* const state = PyEval_SaveThread();
    try {
        if constexpr (isVoid)
            call();
        else
            result.emplace(call());
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        failure = std::current_exception();
    }
    orSleep([state] { PyEval_RestoreThread(state); });
    if (failure != nullptr)
        std::rethrow_exception(failure);
    if constexpr (!isVoid)
        return Result(std::move(*result));
}

} // namespace settings::python
