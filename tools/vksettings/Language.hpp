/// The language of the application, for definitions that name functions of it.
#pragma once

#include "Commands.hpp"

#include <functional>
#include <memory>
#include <stdexcept>

namespace settings::plugin {
class FrontEnd;
} // namespace settings::plugin

namespace vksettings {

/// The front end that VKSETTINGS_FRONTEND names cannot be started.
class NoFrontEnd : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The front end that VKSETTINGS_FRONTEND names ("python"), if it names one. It starts with the first work
/// and ends with the object.
class Language {
  public:
    Language();
    Language(const Language&) = delete;
    Language& operator=(const Language&) = delete;
    ~Language();

    /// Does the work on the thread of the language's engine, so that its functions can be called; without a
    /// front end at once. NoFrontEnd, and what the work throws.
    ExitCode run(const std::function<ExitCode()>& work);

  private:
    std::unique_ptr<settings::plugin::FrontEnd> frontEnd_;
};

} // namespace vksettings
