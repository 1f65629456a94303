/// Functions of definitions may throw anything, and may even end their thread.
#pragma once

#include <cxxabi.h>

#include <exception>

namespace vksettings {

/// Calls `call`. Where something is thrown that is no std::exception, `onUnknown` is called in its handler.
template <class Call, class OnUnknown>
__attribute__((no_sanitize("undefined"))) // an ending thread gives its handler no object to refer to
auto callForeign(Call call, OnUnknown onUnknown) {
    try {
        return call();
    } catch (const std::exception&) {
        throw;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return onUnknown();
    }
}

/// Calls `call`. Where that ends the thread, `onEnd` is called, which must not return.
template <class Call, class OnEnd>
__attribute__((no_sanitize("undefined"))) auto callEndable(Call call, OnEnd onEnd) {
    try {
        return call();
    } catch (const abi::__forced_unwind&) {
        onEnd();
        throw;
    }
}

} // namespace vksettings
