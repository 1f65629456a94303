#include "settingscore/validation/LanguageCall.hpp"

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/MessageText.hpp"
#include "settingscore/validation/VARNEKFunctionInvoker.hpp"
#include "varnek/host/LanguageEngine.hpp"

namespace settings::core {

boost::recursive_mutex& VARNEKFunctionInvoker::mutex_ = *new boost::recursive_mutex; // never destroyed
VARNEKFunctionInvoker::LoadConfigProxy& VARNEKFunctionInvoker::loadConfigProxy_ = *new LoadConfigProxy;

void VARNEKFunctionInvoker::checkThreadToRun() const {
    if (!varnek::host::isLanguageEngineThread())
        throw VARNEK::settings::core::VARNEKFuncMustBeInvokedByExecEngine();
}

void VARNEKFunctionInvoker::loadConfig() const {
    const detail::LanguageLock lock(mutex_);
    if (const LoadConfigProxy proxy = loadConfigProxy_)
        proxy();
}

void VARNEKFunctionInvoker::setLoadConfigProxy(LoadConfigProxy proxy) {
    detail::replaceProxy(mutex_, loadConfigProxy_, proxy);
}

VARNEKFunctionInvoker::LoadConfigProxy VARNEKFunctionInvoker::getLoadConfigProxy() {
    return detail::currentProxy(mutex_, loadConfigProxy_);
}

namespace detail {

void checkLanguageConditions(const FunctionName& function) {
    if (!varnek::host::isLanguageEngineReady())
        throw VARNEK::settings::core::ExecEngineNotReadyForProcessingMFunction();
    const VARNEKFunctionInvoker invoker(function.getPackageName(), function.getFunctionName());
    invoker.checkThreadToRun();
    invoker.loadConfig();
}

std::u16string currentText(const varnek::catalogue::CatalogueException& message) {
    return exception::detail::utf16(message.text(*varnek::catalogue::Catalogue::current()));
}

} // namespace detail
} // namespace settings::core
