/// The engine of the application's interpreted language, as far as others have to know of it: whether it
/// runs, and on which thread. Functions of the language are called on that thread and on no other.
///
/// The front end of the language registers its engine when it is ready to run functions, and takes it back
/// before the thread ends (the system gives the identity of an ended thread to new ones). A process has one
/// engine. All functions are thread-safe, never block and never throw.
#pragma once

#include "varnek/Export.hpp"

#include <thread>

namespace varnek::host {

/// From now on the engine is ready and runs on `thread`. False, and nothing changes, when an engine is
/// registered already or `thread` is no thread.
VARNEK_EXPORT bool registerLanguageEngine(std::thread::id thread) noexcept;

/// Takes back the engine of `thread`. False, and nothing changes, when that is not the registered one.
VARNEK_EXPORT bool unregisterLanguageEngine(std::thread::id thread) noexcept;

/// Whether an engine is registered.
VARNEK_EXPORT bool isLanguageEngineReady() noexcept;

/// Whether the calling thread is that of the registered engine; false without one.
VARNEK_EXPORT bool isLanguageEngineThread() noexcept;

} // namespace varnek::host
