#include "Refusal.hpp"

#include "ValueText.hpp"

#include "settingscore/SettingExplanation.hpp"
#include "settingscore/ValueCheck.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/exception/ValueTooLargeForFile.hpp"
#include "varnek/catalogue/MessageException.hpp"
#include "varnek/files/PathText.hpp"

#include <new>

namespace vksettings {

namespace {

namespace ex = settings::core::exception;
using settings::core::SettingExplanation;
using varnek::data::Array;
using varnek::data::TypeCode;

std::string utf8(const std::u16string& text) {
    return varnek::files::messageUtf8(text);
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string alternatives(const SettingExplanation& setting) {
    std::string words = "it must be ";
    for (const std::string& validator : setting.validators)
        words.append(&validator == &setting.validators.front() ? "" : "; or ").append(validator);
    return words;
}

std::string outOfRange(const ex::ValueIsNotInRange& failure, const Array& value) {
    const std::string from = utf8(failure.getMinValueStr());
    const std::string to = utf8(failure.getMaxValueStr());
    const auto type = value.type();
    const bool isLength = type == TypeCode::character || type == TypeCode::string || type == TypeCode::cell;
    std::string words = (isLength ? "its length of " : "") + utf8(failure.getValueToSetStr()) + " is not ";
    if (!from.empty() && !to.empty())
        return words.append("in the range from ").append(from).append(" to ").append(to);
    return words.append(to.empty() ? "at least " + from : "at most " + to);
}

/// What the one declared validator objects to; empty when it has nothing to do with the failure.
std::string objection(const std::exception& failure, const SettingExplanation& setting, const Array& value) {
    if (const auto* range = dynamic_cast<const ex::ValueIsNotInRange*>(&failure))
        return outOfRange(*range, value);
    if (const auto* choice = dynamic_cast<const ex::ValueIsNotOneOfTheChoicesAndNotInRange*>(&failure))
        return quoted(utf8(choice->getValueToSetStr())) + " is none of " + utf8(choice->getChoicesStr());
    const std::string whole = setting.validators.empty() ? "" : " (" + setting.validators.front() + ")";
    if (dynamic_cast<const ex::DataArraySizeOutOfRange*>(&failure) != nullptr)
        return "its size of " + varnek::data::dimensionsText(value) + " is refused" + whole;
    if (dynamic_cast<const ex::ValueMustBeScalar*>(&failure) != nullptr)
        return "it must be one value" + whole;
    if (dynamic_cast<const ex::ValueMustBeString*>(&failure) != nullptr)
        return "it must be text" + whole;
    if (dynamic_cast<const ex::ValueMustBeLogical*>(&failure) != nullptr)
        return "it must be logical" + whole;
    if (dynamic_cast<const ex::ValueMustBeNumeric*>(&failure) != nullptr)
        return "it must be numeric" + whole;
    if (dynamic_cast<const ex::ValueMustBeInteger*>(&failure) != nullptr)
        return "it must be integer" + whole;
    return {};
}

/// Whether the declared validators refuse the value, which keeps it from the validation function: that may
/// raise what they raise.
bool isDeclaredRule(const settings::core::Settings& setting, const Array& value) {
    try {
        settings::core::checkDeclaratively(setting, value);
        return false;
    } catch (const ex::ValidationException&) {
        return true;
    }
}

std::string functionOf(const SettingExplanation& setting) {
    return "the validation function" +
           (setting.validationFunction.empty() ? std::string() : " " + quoted(setting.validationFunction));
}

std::string functionWords(const std::exception& failure, const SettingExplanation& setting) {
    const std::string function = functionOf(setting);
    if (const auto* refusal = dynamic_cast<const ex::ExceptionFromValidationFunction*>(&failure))
        return function + " refuses it" +
               (refusal->getCause().empty() ? std::string() : ": " + utf8(refusal->getCause()));
    const auto notCalled = [&](const std::string& why) { return function + " could not be called: " + why; };
    if (const auto* broken = dynamic_cast<const ex::ValidationFunctionInvokingError*>(&failure))
        return notCalled(utf8(broken->getCause()));
    if (const auto* library = dynamic_cast<const ex::ErrorLoadingLibrary*>(&failure))
        return notCalled(utf8(library->getSystemMessage()));
    if (dynamic_cast<const varnek::catalogue::CatalogueException*>(&failure) != nullptr)
        return notCalled(failure.what());
    return setting.validationFunction.empty() ? failure.what() : function + " refuses it: " + failure.what();
}

} // namespace

bool isAboutTheValue(const std::exception& failure) {
    if (dynamic_cast<const ex::ValidationException*>(&failure) != nullptr ||
        dynamic_cast<const ex::ValidationFunctionInvokingError*>(&failure) != nullptr ||
        dynamic_cast<const ex::ErrorLoadingLibrary*>(&failure) != nullptr)
        return true;
    // What a validation function throws arrives as it is.
    return dynamic_cast<const ex::SettingsException*>(&failure) == nullptr &&
           dynamic_cast<const std::bad_alloc*>(&failure) == nullptr;
}

std::string brokenRule(const std::exception& failure, const settings::core::Settings& setting,
                       const Array& value) {
    if (const auto* type = dynamic_cast<const ex::UnsupportedType*>(&failure))
        return "no setting can hold a value of type " + type->getTypeName();
    if (dynamic_cast<const ex::DefaultValidationFailedOnVoidType*>(&failure) != nullptr)
        return "that is no value";
    if (dynamic_cast<const ex::ValueTooLargeForFile*>(&failure) != nullptr)
        return "it is larger, or nested deeper, than a settings file can hold";
    if (const auto* type = dynamic_cast<const ex::DataTypeNotMatch*>(&failure))
        return "its type is " + type->getActualTypeName() + ", not " + type->getExpectedTypeName();
    const SettingExplanation explained = settings::core::explain(setting);
    const bool isDeclared = !explained.validators.empty() &&
                            (explained.validationFunction.empty() || isDeclaredRule(setting, value));
    const std::string words = isDeclared ? objection(failure, explained, value) : std::string();
    if (words.empty())
        return functionWords(failure, explained);
    return explained.validators.size() > 1 ? alternatives(explained) : words;
}

std::string brokenRule(const std::exception_ptr& failure, const settings::core::Settings& setting,
                       const Array& value) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& known) {
        return brokenRule(known, setting, value);
    } catch (...) {
        return functionOf(settings::core::explain(setting)) + " ends with an unknown failure";
    }
}

RefusedValue refusedValue(const std::string& fullName, const ShapedArray& value, const std::string& level,
                          const std::string& rule) {
    const std::string text = shownBriefly(value.first, value.second);
    return RefusedValue(quoted(fullName) + " cannot be " + (text.empty() ? quoted(text) : text) +
                        " on level " + quoted(level) + ": " + rule);
}

RefusedValue refusedValue(const std::exception_ptr& failure, const settings::core::Settings& setting,
                          const ShapedArray& value, const std::string& level) {
    return refusedValue(setting.getFullName(), value, level, brokenRule(failure, setting, value.first));
}

std::string shownBriefly(const Array& value, bool isVector) {
    constexpr std::size_t most = 120;
    std::string text = shown(value, isVector);
    if (text.size() <= most)
        return text;
    std::size_t end = most;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) // not inside a character
        --end;
    return text.substr(0, end) + "...";
}

} // namespace vksettings
