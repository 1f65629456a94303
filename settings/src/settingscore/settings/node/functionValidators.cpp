// Calls of validation functions that take the setting's own name from its handle.

#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/Settings.hpp"

namespace settings::core {

namespace {

std::string nameOf(const boost::shared_ptr<const Settings>& setting) {
    return setting == nullptr ? std::string() : setting->getName();
}

} // namespace

void MValidator::invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                          const boost::shared_ptr<Settings>& parent,
                                          std::pair<varnek::data::Array, bool>& valueAndFlag) const {
    invokeValidationFunction(setting, parent, valueAndFlag, nameOf(setting));
}

void JValidator::invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                          const boost::shared_ptr<const Settings>& parent,
                                          std::pair<varnek::data::Array, bool>& valueAndFlag) const {
    invokeValidationFunction(setting, parent, valueAndFlag, nameOf(setting));
}

void CPPValidator::invokeValidationFunction(const boost::shared_ptr<const Settings>& setting,
                                            const boost::shared_ptr<const Settings>& parent,
                                            std::pair<varnek::data::Array, bool>& valueAndFlag) const {
    invokeValidationFunction(setting, parent, valueAndFlag, nameOf(setting));
}

} // namespace settings::core
