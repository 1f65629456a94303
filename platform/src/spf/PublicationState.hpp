// One published service, as its own process sees it.
#pragma once

#include "spf/Invokable.hpp"
#include "spf/Words.hpp"
#include "varnek/concurrency/RunningCalls.hpp"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace varnek::spf {

/// Shared by the Publication, the event loop and the workers. Thread-safe.
class PublicationState {
  public:
    PublicationState(std::uint64_t itsNumber, std::string itsName, std::shared_ptr<ServiceProvider> provider)
        : number(itsNumber), name(std::move(itsName)), provider_(std::move(provider)) {}

    /// Carries out a call. Does not throw but for want of memory.
    Words answer(const Words& request);

    /// No call begins any more; waits for those that are running, but for those inside which it is called,
    /// and lets go of the provider.
    void end();

    const std::uint64_t number;
    const std::string name;
    std::atomic<std::size_t> listeners{0}; // subscriptions of clients

  private:
    Value call(const Words& request);

    std::atomic<bool> isOpen_{true};
    concurrency::RunningCalls calls_;
    std::shared_ptr<ServiceProvider> provider_; // used by calls while it is open
};

} // namespace varnek::spf
