#include "spf/Background.hpp"

#include "varnek/concurrency/WithoutSignals.hpp"

#include <pthread.h>

#include <utility>

namespace varnek::spf {

std::thread startThread(const char* name, std::function<void()> work) {
    const concurrency::WithoutSignals inTheThread;
    std::thread thread(std::move(work));
    ::pthread_setname_np(thread.native_handle(), name);
    return thread;
}

} // namespace varnek::spf
