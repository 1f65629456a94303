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

  protected:
    /// For the derived classes: a function of one world never equals one of another.
    bool operator==(const FunctionName&) const = default;

    FunctionName(std::string packageName, std::string functionName) noexcept
        : packageName_(std::move(packageName)), functionName_(std::move(functionName)) {}

  private:
    std::string packageName_;
    std::string functionName_;
};

} // namespace settings::core::detail
