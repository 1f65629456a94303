// Enters the services of other processes into service frameworks.
#pragma once

#include "cppmicroservices/BundleContext.h"
#include "spf/ServiceRuntime.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace varnek::spf {

/// Confined to one thread, since it calls trackers of the framework. What a framework refuses is logged.
class Discovery {
  public:
    /// A connection and what the process at its end calls the publication.
    using Key = std::pair<std::uint64_t, std::uint64_t>;

    void add(cppmicroservices::BundleContext context);
    void enter(const Key& key, cppmicroservices::ServiceProperties properties,
               std::shared_ptr<RemoteService> service);
    void leave(const Key& key);

  private:
    struct Entered {
        cppmicroservices::ServiceProperties properties;
        std::shared_ptr<RemoteService> service;
        std::vector<cppmicroservices::ServiceRegistration<RemoteService>> registrations;
    };

    static void registerIn(cppmicroservices::BundleContext& context, Entered& entered);

    std::vector<cppmicroservices::BundleContext> contexts_;
    std::map<Key, Entered> entered_;
};

/// Properties as they travel: those of the service framework, without that of the process.
cppmicroservices::ServiceProperties serviceProperties(const std::string& serviceName,
                                                      const std::string& process,
                                                      const std::map<std::string, std::string>& properties,
                                                      const std::string& description);

} // namespace varnek::spf
