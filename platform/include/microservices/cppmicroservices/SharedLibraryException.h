/// The library of a bundle does not load.
#pragma once

#include "cppmicroservices/Bundle.h"
#include "varnek/Export.hpp"

#include <string>
#include <system_error>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {

/// what() holds the text of the system.
class VARNEK_EXPORT SharedLibraryException : public std::system_error {
  public:
    SharedLibraryException(std::error_code code, const std::string& message, Bundle origin)
        : std::system_error(code, message), origin_(std::move(origin)) {}
    Bundle GetBundle() const { return origin_; }

  private:
    Bundle origin_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
