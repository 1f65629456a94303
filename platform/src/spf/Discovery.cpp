#include "spf/Discovery.hpp"

#include "spf/Journal.hpp"

#include <algorithm>
#include <exception>

namespace varnek::spf {

using cppmicroservices::BundleContext;
using cppmicroservices::ServiceProperties;

void Discovery::add(BundleContext context) {
    if (std::find(contexts_.begin(), contexts_.end(), context) != contexts_.end())
        return;
    contexts_.push_back(context);
    for (auto& [key, entered] : entered_)
        registerIn(context, entered);
}

void Discovery::enter(const Key& key, ServiceProperties properties, std::shared_ptr<RemoteService> service) {
    Entered& entered =
        entered_.insert_or_assign(key, Entered{std::move(properties), std::move(service), {}}).first->second;
    std::erase_if(contexts_,
                  [](const BundleContext& context) { return !context; }); // their bundles have stopped
    for (BundleContext& context : contexts_)
        registerIn(context, entered);
}

void Discovery::registerIn(BundleContext& context, Entered& entered) {
    try {
        entered.registrations.push_back(
            context.RegisterService<RemoteService>(entered.service, entered.properties));
    } catch (const std::exception& failure) {
        VARNEK_LOG(journal, warning) << "Cannot register a service of another process: " << failure.what();
    }
}

void Discovery::leave(const Key& key) {
    auto gone = entered_.extract(key);
    if (gone.empty())
        return;
    for (auto& registration : gone.mapped().registrations) {
        try {
            registration.Unregister();
        } catch (const std::exception&) { // its framework has ended
        }
    }
}

ServiceProperties serviceProperties(const std::string& serviceName, const std::string& process,
                                    const std::map<std::string, std::string>& properties,
                                    const std::string& description) {
    ServiceProperties result;
    result[property::serviceName] = serviceName;
    result[property::process] = process;
    result[property::description] = description;
    for (const auto& [name, value] : properties)
        result[property::serviceProperty + name] = value;
    return result;
}

} // namespace varnek::spf
