/// How a definition names a function that lives outside this library.
#pragma once

#include <string>
#include <utility>

namespace settings::core::detail {

/// Package (for a plug-in: the library) and function, both UTF-8. A plain value.
class FunctionName {
  public:
    const std::string& getPackageName() const noexcept { return packageName_; }
    const std::string& getFunctionName() const noexcept { return functionName_; }

    friend bool operator==(const FunctionName&, const FunctionName&) = default;

  protected:
    FunctionName(std::string packageName, std::string functionName) noexcept
        : packageName_(std::move(packageName)), functionName_(std::move(functionName)) {}

  private:
    std::string packageName_;
    std::string functionName_;
};

} // namespace settings::core::detail
