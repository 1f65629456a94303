/// A context that is not valid, or not any more, was used.
#pragma once

#include "varnek/Export.hpp"

#include <stdexcept>

namespace cppmicroservices {
inline namespace varnek_platform {

class VARNEK_EXPORT IllegalStateException final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace varnek_platform
} // namespace cppmicroservices
