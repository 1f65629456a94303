/// The text of what is being handled.
#pragma once

#include "varnek/Export.hpp"

#include <string>
#include <string_view>

namespace varnek::exception {

/// What the exception being handled says; `unknown` where it is none of the standard ones. Inside a handler
/// only.
VARNEK_EXPORT std::string causeOfCurrentException(std::string_view unknown = {});

} // namespace varnek::exception
