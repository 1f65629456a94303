/// What calls into the languages share.
#pragma once

#include "settingscore/validation/FunctionName.hpp"
#include "varnek/catalogue/MessageException.hpp"

#include <boost/thread/recursive_mutex.hpp>

#include <string>
#include <utility>

namespace settings::core::detail {

/// A mutex under which foreign code runs; never destroyed. The child of a fork gets it unlocked: the thread
/// that held it may not be there, and a lock of the forking thread itself means nothing there.
boost::recursive_mutex& makeLanguageMutex();

/// How often this process has been forked off another.
unsigned forkGeneration() noexcept;

/// Holds a mutex of makeLanguageMutex(). One that is older than the process does nothing at its end.
class LanguageLock {
  public:
    explicit LanguageLock(boost::recursive_mutex& mutex) : mutex_(mutex) { mutex_.lock(); }
    LanguageLock(const LanguageLock&) = delete;
    LanguageLock& operator=(const LanguageLock&) = delete;
    ~LanguageLock() {
        if (generation_ == forkGeneration())
            mutex_.unlock();
    }

  private:
    boost::recursive_mutex& mutex_;
    const unsigned generation_ = forkGeneration();
};

/// Puts a function into its slot; what the one before holds is destroyed without the lock.
template <class Proxy>
void replaceProxy(boost::recursive_mutex& mutex, Proxy& slot, Proxy& proxy) {
    const LanguageLock lock(mutex);
    slot.swap(proxy);
}

/// A copy, so that the function may be replaced while it runs.
template <class Proxy>
Proxy currentProxy(boost::recursive_mutex& mutex, const Proxy& slot) {
    const LanguageLock lock(mutex);
    return slot;
}

/// Whether the function can be called now, on this thread: the engine is ready
/// (ExecEngineNotReadyForProcessingMFunction) and this is its thread (VARNEKFuncMustBeInvokedByExecEngine).
/// Then the configuration of the language is loaded.
void checkLanguageConditions(const FunctionName& function);

/// The text of a message in the catalogue of the process.
std::u16string currentText(const varnek::catalogue::CatalogueException& message);

} // namespace settings::core::detail
