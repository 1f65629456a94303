#include "spf/SPFConfiguration.hpp"

#include <stdexcept>
#include <utility>

namespace varnek::spf {
namespace {

constexpr char rpcPublisher[] = "rpcservicepublisher";
constexpr char localOnly[] = "localServiceOnly";

template <class Texts>
json::Array arrayOf(const Texts& texts) {
    json::Array array;
    for (const std::string& text : texts)
        array.push_back(json::Value(text));
    return array;
}

} // namespace

json::Object ServiceDescription::toProperties() const {
    json::Object properties;
    for (const auto& [name_, value] : serviceProperties)
        properties.set(name_, value);
    return {{"name", name},
            {"version",
             json::Object{{"major", version.major}, {"minor", version.minor}, {"patch", version.patch}}},
            {"description", description},
            {"dependencies", arrayOf(dependencies)},
            {"serviceproperty", std::move(properties)},
            {"serviceinterfaces", arrayOf(serviceInterfaces)},
            {"spfruntime", spfRuntime},
            {"extension", extension}};
}

SPFConfiguration::Builder& SPFConfiguration::Builder::addRequiredRuntimeServiceProperties(
    std::map<std::string, std::string> properties) {
    properties.merge(built_.properties_); // what is new counts
    built_.properties_ = std::move(properties);
    return *this;
}

SPFConfiguration::Builder& SPFConfiguration::Builder::addServicePublisher(std::string kind,
                                                                          std::set<std::string> options) {
    built_.publishers_.push_back({std::move(kind), std::move(options)});
    return *this;
}

SPFConfiguration SPFConfiguration::Builder::build() const {
    if (built_.publishers_.empty())
        throw std::invalid_argument("A configuration of services without a publisher");
    for (const ServicePublisher& publisher : built_.publishers_) {
        if (publisher.kind != rpcPublisher)
            throw std::invalid_argument("There is no service publisher of the kind \"" + publisher.kind +
                                        '"');
        if (publisher.options != std::set<std::string>{localOnly})
            throw std::invalid_argument("A service publisher of the kind \"" + publisher.kind +
                                        "\" takes the option \"" + localOnly + "\" and no other");
    }
    return built_;
}

} // namespace varnek::spf
