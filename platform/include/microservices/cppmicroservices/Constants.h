/// Keys of manifests and of service properties.
#pragma once

#include <string>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace Constants {

/// Location and symbolic name of the framework as a bundle.
inline const std::string SYSTEM_BUNDLE_LOCATION = "System Bundle";
inline const std::string SYSTEM_BUNDLE_SYMBOLICNAME = "system_bundle";

/// Required: the name that the library was compiled with, a C identifier.
inline const std::string BUNDLE_SYMBOLICNAME = "bundle.symbolic_name";
/// major[.minor[.micro[.qualifier]]]; 0.0.0 when absent.
inline const std::string BUNDLE_VERSION = "bundle.version";
/// true: the library has an activator. Without it the library is not even loaded.
inline const std::string BUNDLE_ACTIVATOR = "bundle.activator";
inline const std::string BUNDLE_NAME = "bundle.name";
inline const std::string BUNDLE_DESCRIPTION = "bundle.description";
inline const std::string BUNDLE_VENDOR = "bundle.vendor";
inline const std::string BUNDLE_COPYRIGHT = "bundle.copyright";

/// Set by the framework: the interfaces, a std::vector<std::string>.
inline const std::string OBJECTCLASS = "objectclass";
/// Set by the framework: a long that is never used again, also not in another framework of the process.
inline const std::string SERVICE_ID = "service.id";
/// An int; the highest wins, 0 when absent.
inline const std::string SERVICE_RANKING = "service.ranking";
/// Set by the framework: "singleton".
inline const std::string SERVICE_SCOPE = "service.scope";
inline const std::string SCOPE_SINGLETON = "singleton";
inline const std::string SERVICE_DESCRIPTION = "service.description";
inline const std::string SERVICE_VENDOR = "service.vendor";
inline const std::string SERVICE_PID = "service.pid";

} // namespace Constants
} // namespace varnek_platform
} // namespace cppmicroservices
