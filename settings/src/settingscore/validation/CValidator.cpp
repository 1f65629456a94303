#include "settingscore/plugin/PluginFunction.hpp"
#include "settingscore/plugin/SettingsPlugin.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/LanguageCall.hpp"
#include "settingscore/validation/LoggedCall.hpp"

namespace settings::core {

using plugin::ValidationFunction;

boost::recursive_mutex& CValidator::mutex_ = detail::makeLanguageMutex();

CValidator::CValidator(std::string packageName, std::string functionName, NamesOnly)
    : FunctionName(std::move(packageName), std::move(functionName)),
      function_(std::make_shared<const detail::PluginFunction>(getPackageName(), getFunctionName())) {}

CValidator::CValidator(std::string packageName, std::string functionName)
    : CValidator(std::move(packageName), std::move(functionName), NamesOnly()) {
    load();
}

CValidator CValidator::fromDefinition(std::string packageName, std::string functionName) {
    return {std::move(packageName), std::move(functionName), NamesOnly()};
}

void CValidator::load() const {
    function_->get<ValidationFunction>();
}

void CValidator::invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                          const boost::shared_ptr<const Settings>& parent,
                                          std::pair<varnek::data::Array, bool>& valueAndFlag) const {
    auto* const function = function_->get<ValidationFunction>();
    varnek::data::Array value = valueAndFlag.first;
    detail::callLogged(*this, [&] {
        const detail::LanguageLock lock(mutex_);
        function(setting, parent, value);
    });
    valueAndFlag.first = std::move(value);
}

} // namespace settings::core
