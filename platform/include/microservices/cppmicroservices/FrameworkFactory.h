/// Makes frameworks.
#pragma once

#include "cppmicroservices/Any.h"
#include "cppmicroservices/Framework.h"
#include "varnek/Export.hpp"

#include <iosfwd>
#include <string>
#include <unordered_map>

namespace cppmicroservices {
inline namespace varnek_platform {

using FrameworkConfiguration = std::unordered_map<std::string, Any>;

class VARNEK_EXPORT FrameworkFactory {
  public:
    Framework NewFramework();
    /// `configuration` becomes the properties of the framework. Diagnostic lines go to the log channel
    /// "varnek::microservices", warnings and errors to `log` too, when given; it must live as long as the
    /// framework.
    Framework NewFramework(const FrameworkConfiguration& configuration, std::ostream* log = nullptr);
};

} // namespace varnek_platform
} // namespace cppmicroservices
