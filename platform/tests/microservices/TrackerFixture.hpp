/// A customizer that writes down what it is told.
#pragma once

#include "microservices/ServiceFixture.hpp"

#include "cppmicroservices/ServiceTracker.h"
#include "cppmicroservices/ServiceTrackerCustomizer.h"

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace test {

using KeyManagerReference = cppmicroservices::ServiceReference<KeyManager>;

/// Thread-safe. The functions run first, with no lock held; `adding` may refuse.
class Recorder : public cppmicroservices::ServiceTrackerCustomizer<KeyManager> {
  public:
    explicit Recorder(cppmicroservices::BundleContext context) : context_(std::move(context)) {}

    std::function<bool(int id)> adding = [](int) { return true; };
    std::function<void(int id)> modified = [](int) {}, removed = [](int) {};

    std::shared_ptr<KeyManager> AddingService(const KeyManagerReference& reference) override {
        auto context = context_;
        auto service = context.GetService(reference);
        if (!service)
            return nullptr;
        note("+" + std::to_string(service->id()));
        return adding(service->id()) ? service : nullptr;
    }
    void ModifiedService(const KeyManagerReference&, const std::shared_ptr<KeyManager>& service) override {
        note("~" + std::to_string(service->id()));
        modified(service->id());
    }
    void RemovedService(const KeyManagerReference&, const std::shared_ptr<KeyManager>& service) override {
        note("-" + std::to_string(service->id()));
        removed(service->id());
    }

    /// What happened since the last time.
    std::string took() {
        const std::lock_guard lock(mutex_);
        return std::exchange(log_, "");
    }

  private:
    void note(const std::string& what) {
        const std::lock_guard lock(mutex_);
        log_ += what;
    }

    const cppmicroservices::BundleContext context_;
    std::mutex mutex_;
    std::string log_;
};

class Trackers : public Services {
  protected:
    using Tracker = cppmicroservices::ServiceTracker<KeyManager>;

    Recorder recorder{context};
};

} // namespace test
