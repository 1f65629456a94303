#include "settingscore/validation/FunctionValidatorCall.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/FunctionFailures.hpp"
#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/validation/ValidationLog.hpp"

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/get.hpp>
#include <boost/variant/static_visitor.hpp>

namespace settings::core::detail {

namespace {

struct Call : boost::static_visitor<void> {
    const boost::shared_ptr<const Settings>& setting;
    const boost::shared_ptr<Settings>& parent;
    const std::function<std::string()>& keyName;
    std::pair<varnek::data::Array, bool>& valueAndFlag;

    Call(const boost::shared_ptr<const Settings>& setting_, const boost::shared_ptr<Settings>& parent_,
         const std::function<std::string()>& keyName_, std::pair<varnek::data::Array, bool>& valueAndFlag_)
        : setting(setting_), parent(parent_), keyName(keyName_), valueAndFlag(valueAndFlag_) {}

    void operator()(boost::blank) const {}
    void operator()(const CValidator& validator) const {
        validator.invokeValidationFunction(setting, parent, valueAndFlag);
    }
    template <class Validator>
    void operator()(const Validator& validator) const {
        validator.invokeValidationFunction(setting, parent, valueAndFlag, keyName());
    }
};

} // namespace

void callFunctionValidator(const ValidatorVariant& validator,
                           const boost::shared_ptr<const Settings>& setting,
                           const boost::shared_ptr<Settings>& parent,
                           const std::function<std::string()>& keyName,
                           std::pair<varnek::data::Array, bool>& valueAndFlag) {
    std::pair<varnek::data::Array, bool> accepted = valueAndFlag;
    boost::apply_visitor(Call(setting, parent, keyName, accepted), validator);
    if (accepted.first.isVoid())
        throw exception::DefaultValidationFailedOnVoidType(setting);
    if (!settingscore::boostany::isSupportedArray(accepted.first))
        throw exception::UnsupportedType(setting, settingscore::boostany::typeName(accepted.first));
    valueAndFlag.first = std::move(accepted.first);
}

void requireFunction(const ValidatorVariant& validator) {
    const auto* const callable = boost::get<CPPValidator>(&validator);
    if (callable != nullptr && callable->getFcn().empty())
        throw exception::InvalidValidator();
    const auto* const inPlugin = boost::get<CValidator>(&validator);
    if (inPlugin == nullptr)
        return;
    try {
        inPlugin->load();
    } catch (const std::exception& failure) {
        VARNEK_LOG(validationLog, warning) << failure.what();
        throw exception::InvalidValidator();
    }
}

} // namespace settings::core::detail
