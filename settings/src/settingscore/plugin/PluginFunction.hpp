/// A function of a plug-in library.
#pragma once

#include <memory>
#include <mutex>
#include <string>

namespace settings::core::detail {

/// Finds its function when that is first asked for, and keeps what came of it, a failure too. Thread-safe; no
/// lock is held while a library is loaded.
class PluginFunction {
  public:
    /// Names the function; nothing is loaded.
    PluginFunction(std::string library, std::string function);
    PluginFunction(const PluginFunction&) = delete;
    PluginFunction& operator=(const PluginFunction&) = delete;
    ~PluginFunction();

    /// The function. Raises exception::ErrorLoadingLibrary when the library is not in the plug-in folder, may
    /// not be used or cannot be loaded, and the catalogue error CFunctionNotFound.
    template <class Function>
    Function* get() const {
        return reinterpret_cast<Function*>(address());
    }

  private:
    struct Outcome;

    void* address() const;
    const Outcome& outcome() const;

    const std::string library_;
    const std::string function_;
    mutable std::mutex mutex_; // guards outcome_, which is set once
    mutable std::unique_ptr<const Outcome> outcome_;
};

} // namespace settings::core::detail
