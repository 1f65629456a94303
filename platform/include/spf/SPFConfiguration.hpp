/// How a process publishes services.
#pragma once

#include "varnek/Export.hpp"
#include "json/Value.hpp"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace varnek::spf {

/// What is published of a service, besides its calls. A plain value.
struct ServiceDescription {
    struct Version {
        std::int64_t major = 1;
        std::int64_t minor = 0;
        std::int64_t patch = 0;

        friend bool operator==(const Version&, const Version&) = default;
    };

    std::string name;
    Version version{};
    std::string description{};
    std::vector<std::string> dependencies{};
    std::map<std::string, std::string> serviceProperties{}; ///< published below "spf.serviceproperty."
    std::vector<std::string> serviceInterfaces{};
    std::string spfRuntime{};
    std::string extension{};

    /// The map of properties: "name", "version" with "major", "minor" and "patch", "description",
    /// "dependencies", "serviceproperty", "serviceinterfaces", "spfruntime", "extension".
    VARNEK_EXPORT json::Object toProperties() const;

    friend bool operator==(const ServiceDescription&, const ServiceDescription&) = default;
};

/// A kind of publisher and its options.
struct ServicePublisher {
    std::string kind;
    std::set<std::string> options{};

    friend bool operator==(const ServicePublisher&, const ServicePublisher&) = default;
};

/// Immutable once it is built.
class VARNEK_EXPORT SPFConfiguration {
  public:
    class Builder;

    /// Published with every service, below "spf.serviceproperty."; those of its description win.
    const std::map<std::string, std::string>& runtimeProperties() const noexcept { return properties_; }
    const std::vector<ServicePublisher>& publishers() const noexcept { return publishers_; }

  private:
    std::map<std::string, std::string> properties_;
    std::vector<ServicePublisher> publishers_;
};

/// One kind of publisher is known: "rpcservicepublisher", which serves processes of this user on this
/// machine; "localServiceOnly" is required of it, since it serves nobody else.
class VARNEK_EXPORT SPFConfiguration::Builder {
  public:
    Builder& addRequiredRuntimeServiceProperties(std::map<std::string, std::string> properties);
    Builder& addServicePublisher(std::string kind, std::set<std::string> options);
    /// std::invalid_argument for an unknown kind or option, and for a configuration without publisher.
    SPFConfiguration build() const;

  private:
    SPFConfiguration built_;
};

} // namespace varnek::spf
