/// How a program that embeds Python reaches the engine of the module vksettings.
#pragma once

#include <pybind11/pybind11.h>

#include <functional>

namespace settings::python {

/// In the capsule `vksettings._core.frontEnd`; lives as long as the process.
struct FrontEndFunctions {
    /// Engine::run
    void (*run)(const std::function<void()>& job);
};
inline constexpr const char* frontEndCapsuleName = "vksettings._core.frontEnd";

pybind11::capsule frontEndCapsule();

} // namespace settings::python
