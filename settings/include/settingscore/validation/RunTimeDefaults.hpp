/// Functions that compute a setting's factory value when it is needed, as a definition names them.
///
/// Values: copyable, movable, compared by their names, and used from any threads. Results are not kept: each
/// call calls the function. Each class calls out under one recursive lock of its own, so a function may read
/// settings itself, but must not wait for another thread that does.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/validation/FunctionName.hpp"
#include "varnek/data/Array.hpp"

#include <boost/any.hpp>
#include <boost/blank.hpp>
#include <boost/function.hpp>
#include <boost/variant/variant.hpp>

#include <memory>
#include <string>
#include <utility>

namespace boost {
class recursive_mutex;
}

namespace settings::core {

namespace detail {
class PluginFunction;
}

/// A C function of a plug-in library (settingscore/plugin/SettingsPlugin.hpp), or a callable of this process
/// that stands for one.
class SETTINGSCORE_EXPORT CRunTimeDefault : public detail::FunctionName {
  public:
    using Function = boost::function<varnek::data::Array()>;

    /// Loads the library and finds the function. Raises exception::ErrorLoadingLibrary and the catalogue
    /// error CFunctionNotFound.
    CRunTimeDefault(std::string packageName, std::string functionName);
    /// Without a callable as fromDefinition.
    CRunTimeDefault(std::string packageName, std::string functionName, Function function);

    /// Only names the function, for what reads and writes definitions. It is looked for when it is first
    /// called, through this object or a copy; each call after a failure raises the same again.
    static CRunTimeDefault fromDefinition(std::string packageName, std::string functionName);

    /// The result as a supported type; a vector unless it is one element or one text, so that an empty array
    /// that is no text is one.
    /// exception::RuntimeFuncErrorConvertingVxArrayToAny for an array that no setting may hold. What the
    /// function throws reaches the caller.
    boost::any operator()() const;
    /// The same, as the array that the function returns.
    varnek::data::Array evaluate() const;

    /// The function itself; what fromDefinition made raises from it what the constructor would.
    const Function& getFcn() const noexcept { return function_; }
    bool operator==(const CRunTimeDefault& other) const { return FunctionName::operator==(other); }

  private:
    static boost::recursive_mutex& mutex_;

    Function function_;
};

/// A function of the application's interpreted language, which runs on the thread of the language's engine
/// only (varnek/host/LanguageEngine.hpp): from other threads a call fails at once.
class SETTINGSCORE_EXPORT MRunTimeDefault : public detail::FunctionName {
  public:
    /// (package, function, the result, void before).
    using RuntimeProxy = boost::function<void(const std::string& packageName, const std::string& functionName,
                                              varnek::data::Array& result)>;

    MRunTimeDefault(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}

    /// Every failure is an exception::RunTimeFuncInvokingError with its cause: the text of the catalogue when
    /// there is no engine or it runs on another thread, the message of an application error, else "Unknown".
    varnek::data::Array operator()() const;

    /// As for MValidator.
    void checkConditions() const;

    /// Registers the function that calls the language, for its front end. Thread-safe; on another thread it
    /// waits for the call that is at work.
    static void setMRunTimeProxyFname(RuntimeProxy proxy);
    static RuntimeProxy getMRunTimeProxyFname();

    bool operator==(const MRunTimeDefault& other) const { return FunctionName::operator==(other); }

  private:
    static boost::recursive_mutex& mutex_;
    static RuntimeProxy& runtimeProxyFname_; // guarded by mutex_
};

/// A function of the Java front end.
class SETTINGSCORE_EXPORT JRunTimeDefault : public detail::FunctionName {
  public:
    using RuntimeDefaultProxy =
        boost::function<boost::any(const std::string& packageName, const std::string& functionName)>;

    JRunTimeDefault(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}

    /// What the front end returns or throws. While nothing is registered, the initializer of JValidator is
    /// called, when there is one; the catalogue error JVMNotReadyForProcessingJavaFunction when nothing is
    /// registered then either.
    boost::any operator()() const;

    /// Registers the function that calls Java, for its front end. Thread-safe; waits likewise.
    static void setJRuntimeDefaultProxy(RuntimeDefaultProxy proxy);

    bool operator==(const JRunTimeDefault& other) const { return FunctionName::operator==(other); }

  private:
    static boost::recursive_mutex& mutex_;
    static RuntimeDefaultProxy& runtimeDefaultProxy_; // guarded by mutex_
};

/// The run-time default of a definition. The order of the alternatives is fixed.
using RunTimeDefaultVariant = boost::variant<boost::blank, CRunTimeDefault, MRunTimeDefault, JRunTimeDefault>;

} // namespace settings::core
