/// The names under which services are registered.
#pragma once

#include "cppmicroservices/Any.h"
#include "varnek/Export.hpp"

#include <memory>
#include <string>
#include <typeinfo>
#include <unordered_map>

namespace cppmicroservices {
inline namespace varnek_platform {

/// One service object under the names of all its interfaces, each pointer of that interface's type.
using InterfaceMap = std::unordered_map<std::string, std::shared_ptr<void>>;
using InterfaceMapPtr = std::shared_ptr<InterfaceMap>;
using InterfaceMapConstPtr = std::shared_ptr<const InterfaceMap>;

namespace detail {

/// Without a leading "::".
VARNEK_EXPORT std::string interfaceId(const std::string& name);

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices

/// The name of an interface: what CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE says, else the name of its type.
/// Empty for void.
template <class Interface>
std::string us_service_interface_iid() {
    return cppmicroservices::detail::interfaceId(cppmicroservices::detail::demangled(typeid(Interface)));
}
template <>
inline std::string us_service_interface_iid<void>() {
    return {};
}

/// Gives an interface a name that does not change with its type's name. Stands outside of all namespaces.
#define CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(Type, Id)                                                 \
    template <>                                                                                              \
    inline std::string us_service_interface_iid<Type>() {                                                    \
        return ::cppmicroservices::detail::interfaceId(Id);                                                  \
    }

namespace cppmicroservices {
inline namespace varnek_platform {

template <class... Interfaces, class Implementation>
InterfaceMapPtr MakeInterfaceMap(const std::shared_ptr<Implementation>& service) {
    auto map = std::make_shared<InterfaceMap>();
    (map->insert_or_assign(us_service_interface_iid<Interfaces>(), std::shared_ptr<Interfaces>(service)),
     ...);
    return map;
}

} // namespace varnek_platform
} // namespace cppmicroservices
