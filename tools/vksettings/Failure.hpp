/// Failures as people read them: what was asked for, on which level, and the rule that was broken.
#pragma once

#include "Commands.hpp"

#include <exception>
#include <string>

namespace vksettings {

struct Explained {
    std::string message; // UTF-8, one or more lines
    ExitCode code = refused;
};

Explained explainFailure(const std::exception& failure);

} // namespace vksettings
