#include "settingscore/validation/SettingValueValidator.hpp"

#include "settingscore/exception/ValidationFailures.hpp"

#include <boost/variant/apply_visitor.hpp>

#include <utility>

namespace settings::core {

SettingValueValidator::SettingValueValidator(const ConfigData& config) {
    boost::apply_visitor(
        [this](const auto& kind) {
            kind.addValidators(checks_);
            kind.addConverter(converter_);
        },
        config);
}

SettingValueValidator::SettingValueValidator(std::vector<CheckFunction> checks, Converter converter)
    : checks_(std::move(checks)), converter_(std::move(converter)) {}

SettingValueValidator::SettingValueValidator(const SettingValueValidator&) = default;
SettingValueValidator::SettingValueValidator(SettingValueValidator&&) noexcept = default;
SettingValueValidator& SettingValueValidator::operator=(const SettingValueValidator&) = default;
SettingValueValidator& SettingValueValidator::operator=(SettingValueValidator&&) noexcept = default;
SettingValueValidator::~SettingValueValidator() = default;

void SettingValueValidator::validateValue(const boost::shared_ptr<const Settings>& setting,
                                          const boost::shared_ptr<Settings>& parent,
                                          varnek::data::Array& value) const {
    for (const CheckFunction& check : checks_)
        check(setting, parent, value);
    if (converter_.empty())
        return;
    try {
        value = converter_(value);
    } catch (const exception::ValueMustBeInteger&) { // a converter does not know whose value it is
        throw exception::ValueMustBeInteger(setting, parent);
    }
}

} // namespace settings::core
