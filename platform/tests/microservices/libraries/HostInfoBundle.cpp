// What a host's bundle looks like: it tells that this process is a session, unless the framework property
// "test.mode" is "compute".
#include "varnek/host/HostInfo.hpp"

#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleInitialization.h"

#include <memory>

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

class ThisProcess : public varnek::host::HostInfo {
  public:
    explicit ThisProcess(bool session) : session_(session) {}
    bool isSession() const override { return session_; }

  private:
    bool session_;
};

class Activator : public cppmicroservices::BundleActivator {
  public:
    void Start(cppmicroservices::BundleContext context) override {
        const auto mode = context.GetProperty("test.mode");
        const bool session = mode.Empty() || mode.ToString() != "compute";
        static_cast<void>(
            context.RegisterService<varnek::host::HostInfo>(std::make_shared<ThisProcess>(session)));
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
