/// A service that was asked for is not there, or its interface has no name.
#pragma once

#include "varnek/Export.hpp"

#include <stdexcept>
#include <string>

namespace cppmicroservices {
inline namespace varnek_platform {

class VARNEK_EXPORT ServiceException : public std::runtime_error {
  public:
    enum Type { UNSPECIFIED = 0, UNREGISTERED = 1, FACTORY_ERROR = 2, FACTORY_EXCEPTION = 3, REMOTE = 5 };

    explicit ServiceException(const std::string& message, Type type = UNSPECIFIED)
        : std::runtime_error(message), type_(type) {}

    Type GetType() const noexcept { return type_; }

  private:
    Type type_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
