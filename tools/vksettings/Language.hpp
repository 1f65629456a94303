/// The language of the application, for definitions that name functions of it.
#pragma once

#include "Commands.hpp"

#include <functional>
#include <stdexcept>

namespace vksettings {

/// The front end that VKSETTINGS_FRONTEND names cannot be started.
class NoFrontEnd : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Does the work on the thread of the language's engine when VKSETTINGS_FRONTEND names a front end
/// ("python"), so that its functions can be called; else at once. The language ends with the work.
/// NoFrontEnd, and what the work throws.
ExitCode withLanguage(const std::function<ExitCode()>& work);

} // namespace vksettings
