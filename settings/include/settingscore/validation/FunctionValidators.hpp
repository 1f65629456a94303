/// Validation functions as a definition names them, one class per world a function can live in.
///
/// Values: copyable, movable, compared by their names, and used from any threads.
///
/// invokeValidationFunction takes the setting, its group, the value with its vector flag, and the setting's
/// own name where the function is told of it; without a name it is asked of the setting. A function refuses
/// the value by throwing; one that may replace the value does so in the pair, whose flag is left alone. After
/// a failure the pair is as it was. Each class calls out under one recursive lock of its own, so a function
/// may set settings itself, but must not wait for another thread that does.
///
/// The front end of a language registers the function that calls it (the setters, thread-safe; an empty
/// function takes it back). On another thread the setters and getters wait for the call that is at work.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/validation/FunctionName.hpp"
#include "varnek/data/Array.hpp"

#include <boost/any/fwd.hpp>
#include <boost/blank.hpp>
#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/variant/variant.hpp>

#include <memory>
#include <string>
#include <utility>

namespace boost {
class recursive_mutex;
}

namespace settings::core {

class Settings;

namespace detail {
class PluginFunction;
}

/// A function of the application's interpreted language, which runs on the thread of the language's engine
/// only (varnek/host/LanguageEngine.hpp): from other threads a call fails at once.
///
/// The package "varnek.settings" has four functions that need no language: "mustBeLogicalScalar",
/// "mustBeStringScalar", "mustBeNumericScalar" and "mustBeIntegerScalar". They check and convert like the
/// declarative validator of that kind, on any thread.
class SETTINGSCORE_EXPORT MValidator : public detail::FunctionName {
  public:
    /// (package, function, the setting, its name, the value, which may be replaced).
    using ValProxy = boost::function<void(const std::string& packageName, const std::string& functionName,
                                          const boost::shared_ptr<const Settings>& setting,
                                          const std::string& keyName, varnek::data::Array& value)>;

    MValidator(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}

    /// The failures of the built-in functions are those of the declarative checks. Otherwise:
    /// exception::ExceptionFromValidationFunction for an application error that the function raises;
    /// exception::ValidationFunctionInvokingError for everything else, with the reason as its cause: no
    /// engine, another thread than its own, nothing registered, another kind of exception.
    void invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                  const boost::shared_ptr<Settings>& parent,
                                  std::pair<varnek::data::Array, bool>& valueAndFlag,
                                  const std::string& keyName) const;
    /// The same, with the name that the setting's handle tells; empty for an empty handle.
    void invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                  const boost::shared_ptr<Settings>& parent,
                                  std::pair<varnek::data::Array, bool>& valueAndFlag) const;

    /// Whether a function of the language can be called now, here: the catalogue errors
    /// ExecEngineNotReadyForProcessingMFunction and VARNEKFuncMustBeInvokedByExecEngine. Then lets the
    /// language load its configuration (VARNEKFunctionInvoker). Never blocks.
    void checkConditions() const;

    static void setVARNEKValFuncInvokingProxyName(ValProxy proxy);
    static ValProxy getVARNEKValFuncInvokingProxyName();

    bool operator==(const MValidator& other) const { return FunctionName::operator==(other); }

  private:
    static boost::recursive_mutex& mutex_;
    static ValProxy& valProxyFuncName_; // guarded by mutex_
};

/// A C function of a plug-in library (settingscore/plugin/SettingsPlugin.hpp); the package name is the
/// library's, without "lib" and ".so".
class SETTINGSCORE_EXPORT CValidator : public detail::FunctionName {
  public:
    /// Loads the library and finds the function. Raises exception::ErrorLoadingLibrary and the catalogue
    /// error CFunctionNotFound.
    CValidator(std::string packageName, std::string functionName);

    /// Only names the function, for what reads and writes definitions. The first call of load or
    /// invokeValidationFunction, of this object or a copy, does what the constructor does; each one after a
    /// failure raises the same again.
    static CValidator fromDefinition(std::string packageName, std::string functionName);

    /// Raises what the constructor would.
    void load() const;

    /// What the function throws is logged and reaches the caller unchanged. Otherwise as load().
    void invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                  const boost::shared_ptr<const Settings>& parent,
                                  std::pair<varnek::data::Array, bool>& valueAndFlag) const;

    bool operator==(const CValidator& other) const { return FunctionName::operator==(other); }

  private:
    struct NamesOnly {};
    CValidator(std::string packageName, std::string functionName, NamesOnly);

    static boost::recursive_mutex& mutex_;

    std::shared_ptr<const detail::PluginFunction> function_; // shared by copies
};

/// A function of the Java front end.
class SETTINGSCORE_EXPORT JValidator : public detail::FunctionName {
  public:
    /// (package, function, the setting, its name, the value).
    using ValProxy = boost::function<void(const std::string& packageName, const std::string& functionName,
                                          const boost::shared_ptr<const Settings>& setting,
                                          const std::string& keyName, const boost::any& value)>;
    /// Makes Java ready, which includes setJValProxy, and setJRuntimeDefaultProxy where it offers run-time
    /// defaults. Returns why it could not; empty when it could.
    using Initializer = boost::function<std::u16string()>;

    JValidator(std::string packageName, std::string functionName) noexcept
        : FunctionName(std::move(packageName), std::move(functionName)) {}

    /// While nothing is registered that calls Java, the initializer is called, when there is one. The
    /// catalogue error JVMNotReadyForProcessingJavaFunction when there is nothing then either, also when the
    /// initializer throws. What the function throws reaches the caller.
    void invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                  const boost::shared_ptr<const Settings>& parent,
                                  std::pair<varnek::data::Array, bool>& valueAndFlag,
                                  const std::string& keyName) const;
    /// The same, with the name that the setting's handle tells; empty for an empty handle.
    void invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                  const boost::shared_ptr<const Settings>& parent,
                                  std::pair<varnek::data::Array, bool>& valueAndFlag) const;

    static void setJValProxy(ValProxy proxy);
    static void setJValInitializer(Initializer initializer);
    /// Takes both back.
    static void clearFunctions();

    bool operator==(const JValidator& other) const { return FunctionName::operator==(other); }

  private:
    friend class JRunTimeDefault;

    static void callInitializer();

    static boost::recursive_mutex& mutex_;
    static ValProxy& valProxy_;           // guarded by mutex_
    static Initializer& jValInitializer_; // guarded by mutex_
};

/// A callable of this process. Two of them are equal when their names are.
class SETTINGSCORE_EXPORT CPPValidator : public detail::FunctionName {
  public:
    /// (the setting, its name, the value); refuses the value by throwing.
    using Function = boost::function<void(const boost::shared_ptr<const Settings>& setting,
                                          const std::string& name, const varnek::data::Array& value)>;

    CPPValidator(Function function, std::string packageName, std::string functionName)
        : FunctionName(std::move(packageName), std::move(functionName)), function_(std::move(function)) {}

    /// What the callable throws is logged and reaches the caller unchanged.
    /// exception::ValidationFunctionInvokingError for an empty one, as every definition read from a file has
    /// it.
    void invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                  const boost::shared_ptr<const Settings>& parent,
                                  std::pair<varnek::data::Array, bool>& valueAndFlag,
                                  const std::string& keyName) const;
    /// The same, with the name that the setting's handle tells; empty for an empty handle.
    void invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                  const boost::shared_ptr<const Settings>& parent,
                                  std::pair<varnek::data::Array, bool>& valueAndFlag) const;

    const Function& getFcn() const noexcept { return function_; }
    bool operator==(const CPPValidator& other) const { return FunctionName::operator==(other); }

  private:
    static boost::recursive_mutex& mutex_;

    Function function_;
};

/// The validation function of a definition. The order of the alternatives is fixed.
using ValidatorVariant = boost::variant<boost::blank, MValidator, CValidator, JValidator, CPPValidator>;

} // namespace settings::core
