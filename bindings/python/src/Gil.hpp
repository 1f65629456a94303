/// The interpreter lock. The rule of this front end: whoever calls the settings library does not hold it,
/// since the library may wait for a lock or the disk, and may call back into Python on any thread.
#pragma once

#include <pybind11/pybind11.h>

#include <cxxabi.h>

#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

namespace settings::python {

/// Holds the lock, on a thread of the interpreter or any other.
class GilLock {
  public:
    GilLock() : state_(PyGILState_Ensure()) {}
    GilLock(const GilLock&) = delete;
    GilLock& operator=(const GilLock&) = delete;
    ~GilLock() { PyGILState_Release(state_); }

  private:
    const PyGILState_STATE state_;
};

/// Calls without the lock, which the caller holds. The lock is taken again in ordinary code, neither in a
/// destructor nor in a handler: an interpreter that is ending ends a thread which asks for it, by unwinding.
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
    PyEval_RestoreThread(state);
    if (failure != nullptr)
        std::rethrow_exception(failure);
    if constexpr (!isVoid)
        return Result(std::move(*result));
}

} // namespace settings::python
