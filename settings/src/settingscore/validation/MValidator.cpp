#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/FunctionFailures.hpp"
#include "settingscore/exception/MessageText.hpp"
#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/validation/ForeignCall.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/LanguageCall.hpp"
#include "settingscore/validation/SettingValueValidator.hpp"

#include <map>
#include <stdexcept>

namespace settings::core {

using exception::detail::utf16;
using varnek::data::Array;

boost::recursive_mutex& MValidator::mutex_ = detail::makeLanguageMutex();
MValidator::ValProxy& MValidator::valProxyFuncName_ = *new ValProxy;

namespace {

using BuiltIns = std::map<std::string, SettingValueValidator>;

const BuiltIns* makeBuiltIns() {
    NumericMetaData<MustBeScalar> integer;
    integer.mustBeInteger();
    const auto validator = [](const auto& kind) { return SettingValueValidator(kind); };
    return new BuiltIns{{"mustBeLogicalScalar", validator(MustBeLogical<MustBeScalar>())},
                        {"mustBeStringScalar", validator(StringMetaData<MustBeScalar>())},
                        {"mustBeNumericScalar", validator(NumericMetaData<MustBeScalar>())},
                        {"mustBeIntegerScalar", validator(integer)}};
}

/// The function of that name which needs no language; null when there is none. Takes no lock that is held
/// while the language works.
const SettingValueValidator* builtIn(const detail::FunctionName& name) {
    if (name.getPackageName() != "varnek.settings")
        return nullptr;
    static const BuiltIns* const table = makeBuiltIns(); // immutable from here on
    const auto found = table->find(name.getFunctionName());
    return found == table->end() ? nullptr : &found->second;
}

} // namespace

void MValidator::checkConditions() const {
    detail::checkLanguageConditions(*this);
}

void MValidator::invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                          const boost::shared_ptr<Settings>& parent,
                                          std::pair<Array, bool>& valueAndFlag,
                                          const std::string& keyName) const {
    if (const SettingValueValidator* const validator = builtIn(*this))
        return validator->validateValue(setting, parent, valueAndFlag.first);
    const auto notInvoked = [this](std::u16string cause) {
        return exception::ValidationFunctionInvokingError(getPackageName(), getFunctionName(),
                                                          std::move(cause));
    };
    Array value = valueAndFlag.first;
    bool isInFunction = false;
    const auto call = [&] {
        try {
            checkConditions();
            const detail::LanguageLock lock(mutex_);
            const ValProxy proxy = valProxyFuncName_;
            if (proxy.empty())
                throw std::runtime_error("no front end of the language is registered");
            isInFunction = true;
            proxy(getPackageName(), getFunctionName(), setting, keyName, value);
        } catch (const VARNEK::settings::core::VARNEKFuncMustBeInvokedByExecEngine& failure) {
            throw notInvoked(detail::currentText(failure));
        } catch (const VARNEK::settings::core::ExecEngineNotReadyForProcessingMFunction& failure) {
            throw notInvoked(detail::currentText(failure));
        } catch (const varnek::exception::Exception& failure) {
            if (!isInFunction) // the configuration of the language could not be loaded
                throw notInvoked(utf16(failure.what()));
            throw exception::ExceptionFromValidationFunction(setting, parent, getPackageName(),
                                                             getFunctionName(), keyName, valueAndFlag.first,
                                                             utf16(failure.what()));
        } catch (const std::exception& failure) {
            throw notInvoked(utf16(failure.what()));
        }
    };
    detail::callForeign(call, [&] { throw notInvoked(u"Unknown"); });
    valueAndFlag.first = std::move(value);
}

void MValidator::setVARNEKValFuncInvokingProxyName(ValProxy proxy) {
    detail::replaceProxy(mutex_, valProxyFuncName_, proxy);
}

MValidator::ValProxy MValidator::getVARNEKValFuncInvokingProxyName() {
    return detail::currentProxy(mutex_, valProxyFuncName_);
}

} // namespace settings::core
