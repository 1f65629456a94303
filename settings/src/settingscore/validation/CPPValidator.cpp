#include "settingscore/exception/FunctionFailures.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/LanguageCall.hpp"
#include "settingscore/validation/LoggedCall.hpp"

namespace settings::core {

boost::recursive_mutex& CPPValidator::mutex_ = detail::makeLanguageMutex();

void CPPValidator::invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                            const boost::shared_ptr<const Settings>&,
                                            std::pair<varnek::data::Array, bool>& valueAndFlag,
                                            const std::string& keyName) const {
    if (function_.empty())
        throw exception::ValidationFunctionInvokingError(getPackageName(), getFunctionName(),
                                                         u"the program did not give the function");
    detail::callLogged(*this, [&] {
        const detail::LanguageLock lock(mutex_);
        function_(setting, keyName, valueAndFlag.first);
    });
}

} // namespace settings::core
