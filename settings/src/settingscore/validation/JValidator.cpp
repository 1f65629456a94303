#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/validation/ForeignCall.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/LanguageCall.hpp"
#include "settingscore/validation/ValidationLog.hpp"

namespace settings::core {

boost::recursive_mutex& JValidator::mutex_ = detail::makeLanguageMutex();
JValidator::ValProxy& JValidator::valProxy_ = *new ValProxy;
JValidator::Initializer& JValidator::jValInitializer_ = *new Initializer;

namespace {

/// Calls the initializer; what it throws is a reason as well.
void makeReady(const JValidator::Initializer& initializer) {
    const auto logReason = [](const auto& reason) {
        VARNEK_LOG(detail::validationLog, warning) << "Java is not ready: " << reason;
    };
    const auto call = [&] {
        try {
            if (const std::u16string reason = initializer(); !reason.empty())
                logReason(reason);
        } catch (const std::exception& failure) {
            logReason(failure.what());
        }
    };
    detail::callForeign(call, [&] { logReason("Unknown Exception"); });
}

} // namespace

void JValidator::invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                          const boost::shared_ptr<const Settings>&,
                                          std::pair<varnek::data::Array, bool>& valueAndFlag,
                                          const std::string& keyName) const {
    const boost::any value = settingscore::boostany::toAny(valueAndFlag.first, valueAndFlag.second);
    const detail::LanguageLock lock(mutex_);
    if (valProxy_.empty())
        callInitializer();
    const ValProxy proxy = valProxy_;
    if (proxy.empty())
        throw VARNEK::settings::core::JVMNotReadyForProcessingJavaFunction();
    proxy(getPackageName(), getFunctionName(), setting, keyName, value);
}

void JValidator::callInitializer() {
    const detail::LanguageLock lock(mutex_);
    if (const Initializer initializer = jValInitializer_)
        makeReady(initializer);
}

void JValidator::setJValProxy(ValProxy proxy) {
    detail::replaceProxy(mutex_, valProxy_, proxy);
}

void JValidator::setJValInitializer(Initializer initializer) {
    detail::replaceProxy(mutex_, jValInitializer_, initializer);
}

void JValidator::clearFunctions() {
    ValProxy proxy;
    Initializer initializer;
    const detail::LanguageLock lock(mutex_);
    valProxy_.swap(proxy);
    jValInitializer_.swap(initializer);
}

} // namespace settings::core
