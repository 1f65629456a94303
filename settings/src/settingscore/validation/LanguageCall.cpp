#include "settingscore/validation/LanguageCall.hpp"

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/MessageText.hpp"
#include "settingscore/validation/VARNEKFunctionInvoker.hpp"
#include "varnek/host/LanguageEngine.hpp"

#include <pthread.h>

#include <atomic>
#include <new>
#include <vector>

namespace settings::core {

boost::recursive_mutex& VARNEKFunctionInvoker::mutex_ = detail::makeLanguageMutex();
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

namespace {

std::atomic<unsigned> generation{0};

std::vector<boost::recursive_mutex*>& languageMutexes() {
    static auto* const all = new std::vector<boost::recursive_mutex*>; // filled while the library is loaded
    return *all;
}

void afterForkInChild() {
    ++generation;
    for (boost::recursive_mutex* const mutex : languageMutexes())
        new (mutex) boost::recursive_mutex; // in place: nobody else can refer to the state that was lost
}

} // namespace

boost::recursive_mutex& makeLanguageMutex() {
    static const int isRegistered = ::pthread_atfork(nullptr, nullptr, afterForkInChild);
    static_cast<void>(isRegistered);
    languageMutexes().push_back(new boost::recursive_mutex);
    return *languageMutexes().back();
}

unsigned forkGeneration() noexcept {
    return generation;
}

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
