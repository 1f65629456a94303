/// Calls of functions that may throw anything.
#pragma once

#include <boost/thread/exceptions.hpp>

#include <cxxabi.h>

#include <exception>

namespace settings::core::detail {

/// Calls `call`. When something is thrown that is no std::exception, `onUnknown` is called inside its
/// handler. Standard exceptions pass, and so does the end of the thread, which no handler may stop.
template <class Call, class OnUnknown>
__attribute__((no_sanitize("undefined"))) // an ending thread gives its handler no object to refer to
void callForeign(Call call, OnUnknown onUnknown) {
    try {
        call();
    } catch (const std::exception&) {
        throw;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        onUnknown();
    }
}

/// The same for calls in the middle of work that goes on after them: the request to end this thread passes as
/// well.
template <class Call, class OnUnknown>
void callInterruptibly(Call call, OnUnknown onUnknown) {
    callForeign(call, [&] {
        try {
            throw;
        } catch (const boost::thread_interrupted&) {
            throw;
        } catch (...) {
            onUnknown();
        }
    });
}

} // namespace settings::core::detail
