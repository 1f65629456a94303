/// Functions that compute a setting's factory value when it is needed, as a definition names them.
///
/// Plain values: copyable, movable, compared by their names. Making one calls and loads nothing.
#pragma once

#include "settingscore/validation/FunctionName.hpp"
#include "varnek/data/Array.hpp"

#include <boost/blank.hpp>
#include <boost/function.hpp>
#include <boost/variant/variant.hpp>

#include <string>
#include <utility>

namespace settings::core {

/// A C function of a plug-in library, or a callable of this process that stands for one.
class CRunTimeDefault : public detail::FunctionName {
  public:
    using Function = boost::function<varnek::data::Array()>;

    CRunTimeDefault(std::string packageName, std::string functionName)
        : FunctionName(std::move(packageName), std::move(functionName)) {}
    CRunTimeDefault(std::string packageName, std::string functionName, Function function)
        : FunctionName(std::move(packageName), std::move(functionName)), function_(std::move(function)) {}

    /// Empty when only the names were given.
    const Function& getFcn() const noexcept { return function_; }
    bool operator==(const CRunTimeDefault& other) const { return FunctionName::operator==(other); }

  private:
    Function function_;
};

/// A function of the application's interpreted language.
class MRunTimeDefault : public detail::FunctionName {
  public:
    MRunTimeDefault(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}
    bool operator==(const MRunTimeDefault& other) const { return FunctionName::operator==(other); }
};

/// A function of the Java front end.
class JRunTimeDefault : public detail::FunctionName {
  public:
    JRunTimeDefault(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}
    bool operator==(const JRunTimeDefault& other) const { return FunctionName::operator==(other); }
};

/// The run-time default of a definition. The order of the alternatives is fixed.
using RunTimeDefaultVariant = boost::variant<boost::blank, CRunTimeDefault, MRunTimeDefault, JRunTimeDefault>;

} // namespace settings::core
