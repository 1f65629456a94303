/// Names a function of the application's interpreted language that is to be called.
#pragma once

#include "settingscore/validation/FunctionName.hpp"

#include <string>
#include <utility>

namespace settings::core {

/// A plain value; making one calls nothing.
class VARNEKFunctionInvoker : public detail::FunctionName {
  public:
    VARNEKFunctionInvoker(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}
    bool operator==(const VARNEKFunctionInvoker& other) const { return FunctionName::operator==(other); }
};

} // namespace settings::core
