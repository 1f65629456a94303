/// What a service is registered with. Keys that differ only in case count as the same key.
#pragma once

#include "cppmicroservices/Any.h"

#include <string>
#include <unordered_map>

namespace cppmicroservices {
inline namespace varnek_platform {

using ServiceProperties = std::unordered_map<std::string, Any>;

} // namespace varnek_platform
} // namespace cppmicroservices
