#include "settingscore/validation/RunTimeDefaults.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/FunctionFailures.hpp"
#include "settingscore/exception/MessageText.hpp"
#include "settingscore/plugin/PluginFunction.hpp"
#include "settingscore/plugin/SettingsPlugin.hpp"
#include "settingscore/validation/ForeignCall.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/LanguageCall.hpp"

namespace settings::core {

using exception::RunTimeFuncInvokingError;
using varnek::data::Array;

boost::recursive_mutex& CRunTimeDefault::mutex_ = detail::makeLanguageMutex();
boost::recursive_mutex& MRunTimeDefault::mutex_ = detail::makeLanguageMutex();
boost::recursive_mutex& JRunTimeDefault::mutex_ = detail::makeLanguageMutex();
MRunTimeDefault::RuntimeProxy& MRunTimeDefault::runtimeProxyFname_ = *new RuntimeProxy;
JRunTimeDefault::RuntimeDefaultProxy& JRunTimeDefault::runtimeDefaultProxy_ = *new RuntimeDefaultProxy;

namespace {

using FoundWhenCalled = std::shared_ptr<const detail::PluginFunction>;

CRunTimeDefault::Function callableOf(FoundWhenCalled function) {
    return [function = std::move(function)] {
        Array result;
        function->get<plugin::RunTimeDefaultFunction>()(result);
        return result;
    };
}

} // namespace

CRunTimeDefault::CRunTimeDefault(std::string packageName, std::string functionName)
    : FunctionName(std::move(packageName), std::move(functionName)) {
    auto function = std::make_shared<const detail::PluginFunction>(getPackageName(), getFunctionName());
    function->get<plugin::RunTimeDefaultFunction>();
    function_ = callableOf(std::move(function));
}

CRunTimeDefault::CRunTimeDefault(std::string packageName, std::string functionName, Function function)
    : FunctionName(std::move(packageName), std::move(functionName)), function_(std::move(function)) {
    if (function_.empty())
        function_ =
            callableOf(std::make_shared<const detail::PluginFunction>(getPackageName(), getFunctionName()));
}

CRunTimeDefault CRunTimeDefault::fromDefinition(std::string packageName, std::string functionName) {
    return {std::move(packageName), std::move(functionName), Function()};
}

Array CRunTimeDefault::evaluate() const {
    Array result;
    {
        const detail::LanguageLock lock(mutex_);
        result = function_();
    }
    if (!result.isVoid() && !settingscore::boostany::isSupportedArray(result))
        throw exception::RuntimeFuncErrorConvertingVxArrayToAny(getPackageName(), getFunctionName(),
                                                                typeid(Array));
    return result;
}

boost::any CRunTimeDefault::operator()() const {
    const Array result = evaluate();
    return settingscore::boostany::toAny(result, settingscore::boostany::isVectorShape(result));
}

void MRunTimeDefault::checkConditions() const {
    detail::checkLanguageConditions(*this);
}

Array MRunTimeDefault::operator()() const {
    const auto failed = [this](std::u16string cause) {
        return RunTimeFuncInvokingError(getPackageName(), getFunctionName(), std::move(cause));
    };
    Array result;
    const auto call = [&] {
        try {
            checkConditions();
            const detail::LanguageLock lock(mutex_);
            const RuntimeProxy proxy = runtimeProxyFname_;
            proxy(getPackageName(), getFunctionName(), result);
        } catch (const VARNEK::settings::core::VARNEKFuncMustBeInvokedByExecEngine& failure) {
            throw failed(detail::currentText(failure));
        } catch (const VARNEK::settings::core::ExecEngineNotReadyForProcessingMFunction& failure) {
            throw failed(detail::currentText(failure));
        } catch (const varnek::exception::Exception& failure) {
            throw failed(exception::detail::utf16(failure.what()));
        } catch (const std::exception&) {
            throw failed(u"Unknown");
        }
    };
    detail::callForeign(call, [&] { throw failed(u"Unknown"); });
    return result;
}

void MRunTimeDefault::setMRunTimeProxyFname(RuntimeProxy proxy) {
    detail::replaceProxy(mutex_, runtimeProxyFname_, proxy);
}

MRunTimeDefault::RuntimeProxy MRunTimeDefault::getMRunTimeProxyFname() {
    return detail::currentProxy(mutex_, runtimeProxyFname_);
}

boost::any JRunTimeDefault::operator()() const {
    // Without the lock: the initializer is called under that of validators, and registers functions here too.
    if (detail::currentProxy(mutex_, runtimeDefaultProxy_).empty())
        JValidator::callInitializer();
    const detail::LanguageLock lock(mutex_);
    const RuntimeDefaultProxy proxy = runtimeDefaultProxy_;
    if (proxy.empty())
        throw VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction();
    return proxy(getPackageName(), getFunctionName());
}

void JRunTimeDefault::setJRuntimeDefaultProxy(RuntimeDefaultProxy proxy) {
    detail::replaceProxy(mutex_, runtimeDefaultProxy_, proxy);
}

} // namespace settings::core
