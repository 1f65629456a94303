#include "settingscore/validation/FullValidation.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/validation/FunctionValidatorCall.hpp"
#include "settingscore/validation/ValidationRun.hpp"

namespace settings::core::detail {

namespace {

/// What decides about the vector flag of an array by itself.
struct ArrayForm {
    explicit ArrayForm(const varnek::data::Array& array)
        : isCharacters(array.type() == varnek::data::TypeCode::character),
          isVector(settingscore::boostany::isVectorShape(array)) {}
    bool operator==(const ArrayForm&) const = default;

    bool isCharacters, isVector;
};

/// Runs `step`; the flag follows the form.
template <class Step>
void keepingFlag(std::pair<varnek::data::Array, bool>& valueAndFlag, Step step) {
    const ArrayForm given(valueAndFlag.first);
    step();
    if (const ArrayForm form(valueAndFlag.first); form != given)
        valueAndFlag.second = form.isVector;
}

} // namespace

void runFullValidation(const ValidationRules& rules, const boost::shared_ptr<const Settings>& setting,
                       const boost::shared_ptr<Settings>& parent,
                       const std::function<std::string()>& fullName,
                       const std::function<std::string()>& keyName,
                       std::pair<varnek::data::Array, bool>& valueAndFlag) {
    keepingFlag(valueAndFlag, [&] {
        runValidators(rules.validators, rules.errorHandler, setting, parent, fullName, valueAndFlag.first);
    });
    keepingFlag(valueAndFlag,
                [&] { callFunctionValidator(rules.function, setting, parent, keyName, valueAndFlag); });
}

} // namespace settings::core::detail
