/// Names a function of the application's interpreted language that is to be called.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/validation/FunctionName.hpp"

#include <boost/function.hpp>

#include <string>
#include <utility>

namespace boost {
class recursive_mutex;
}

namespace settings::core {

/// A value, used from any threads.
class SETTINGSCORE_EXPORT VARNEKFunctionInvoker : public detail::FunctionName {
  public:
    using LoadConfigProxy = boost::function<void()>;

    VARNEKFunctionInvoker(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}

    /// The catalogue error VARNEKFuncMustBeInvokedByExecEngine on another thread than the language engine's
    /// (varnek/host/LanguageEngine.hpp). Never blocks.
    void checkThreadToRun() const;
    /// Calls the registered function, if any, under the lock of this class; what it throws passes.
    void loadConfig() const;

    /// Registers what loads the language's configuration before a function of it is called, for its front
    /// end. Thread-safe.
    static void setLoadConfigProxy(LoadConfigProxy proxy);
    static LoadConfigProxy getLoadConfigProxy();

    bool operator==(const VARNEKFunctionInvoker& other) const { return FunctionName::operator==(other); }

  private:
    static boost::recursive_mutex& mutex_;
    static LoadConfigProxy& loadConfigProxy_; // guarded by mutex_
};

} // namespace settings::core
