#include "settingscore/settings/upgrade/ResultsJson.hpp"

#include "settingscore/settings/upgrade/ResultKeys.hpp"
#include "varnek/data/Array.hpp"
#include "varnek/files/PathText.hpp"
#include "json/ArrayConversion.hpp"

namespace settings::core::detail {

using varnek::data::TypeCode;
using varnek::json::Array;
using varnek::json::Object;
using varnek::json::Value;

// ---- writing ----

namespace {

Array writeTexts(const varnek::data::Array& texts) {
    Array json;
    for (const std::u16string& text : texts.elements<std::u16string>())
        json.push_back(text);
    return json;
}

Value writeObject(const varnek::data::Array& objects, std::size_t index);

Value writeField(const varnek::data::Array& field) {
    if (field.type() == TypeCode::character)
        return field.text();
    if (field.type() == TypeCode::string)
        return writeTexts(field);
    Array json;
    for (std::size_t i = 0; i < field.numberOfElements(); ++i)
        json.push_back(writeObject(field, i));
    return json;
}

/// One element of a structure array that stands for objects.
Value writeObject(const varnek::data::Array& objects, std::size_t index) {
    Object fields;
    for (const std::string& name : objects.fieldNames())
        if (name != results::className)
            fields.set(name, writeField(objects.field(name, index)));
    Object object;
    object.set(varnek::json::typedDataKey, std::move(fields));
    object.set(varnek::json::typedClassKey, objects.field(results::className, index).text());
    return object;
}

} // namespace

Value writeResults(const ReleaseCompatibilityResults& results) {
    return writeObject(asArray(results), 0);
}

// ---- reading ----

namespace {

/// The fields of an object; null when it is none of that class.
const Object* fieldsOf(const Value& json, std::string_view className) {
    const Object* object = json.ifObject();
    const Value* type = object == nullptr ? nullptr : object->find(varnek::json::typedClassKey);
    const Value* data = object == nullptr ? nullptr : object->find(varnek::json::typedDataKey);
    if (type == nullptr || data == nullptr || !type->isString() || type->asString() != className)
        return nullptr;
    return data->ifObject();
}

std::string textIn(const Object& fields, std::string_view key) {
    const Value* value = fields.find(key);
    return value != nullptr && value->isString() ? varnek::files::messageUtf8(value->asUtf16()) : "";
}

template <class Take>
void forEachIn(const Object& fields, std::string_view key, Take take) {
    const Value* value = fields.find(key);
    if (const Array* array = value == nullptr ? nullptr : value->ifArray())
        for (const Value& element : *array)
            take(element);
}

std::vector<std::string> textsIn(const Object& fields, std::string_view key) {
    std::vector<std::string> texts;
    forEachIn(fields, key, [&](const Value& element) {
        if (element.isString())
            texts.push_back(varnek::files::messageUtf8(element.asUtf16()));
    });
    return texts;
}

ResultStatus statusOf(std::string_view name) {
    for (const auto status : {ResultStatus::succeeded, ResultStatus::skipped})
        if (name == nameOf(status))
            return status;
    return ResultStatus::failed;
}

template <class Result>
std::vector<Result> objectsIn(const Object& fields, std::string_view key, std::string_view className,
                              Result (*read)(const Object&)) {
    std::vector<Result> objects;
    forEachIn(fields, key, [&](const Value& element) {
        if (const Object* object = fieldsOf(element, className))
            objects.push_back(read(*object));
    });
    return objects;
}

ReleaseCompatibilityException readException(const Object& fields) {
    return {textIn(fields, results::exceptionId), textIn(fields, results::exceptionLog)};
}

OperationResult readOperation(const Object& fields) {
    OperationResult result;
    result.operation = textIn(fields, results::operation);
    result.inputs = textsIn(fields, results::inputs);
    result.outputs = textsIn(fields, results::outputs);
    result.status = statusOf(textIn(fields, results::status));
    result.preValidationExceptions =
        objectsIn(fields, results::preValidationExceptions, results::exceptionClass, readException);
    result.exceptionLog = objectsIn(fields, results::exceptionLog, results::exceptionClass, readException);
    for (const std::string& name : textsIn(fields, results::upgradeFcnResults))
        result.upgradeFcnResults.push_back(statusOf(name));
    return result;
}

VersionResults readVersionResults(const Object& fields) {
    return {textIn(fields, results::versionLabel),
            objectsIn(fields, results::versionChanges, results::operationClass, readOperation)};
}

} // namespace

ReleaseCompatibilityResults readResults(const Value& json) {
    ReleaseCompatibilityResults run;
    const Object* fields = fieldsOf(json, results::runClass);
    if (fields == nullptr)
        return run;
    run.resultType = textIn(*fields, results::resultType);
    run.versionLabel = textIn(*fields, results::versionLabel);
    run.preValidationExceptions =
        objectsIn(*fields, results::preValidationExceptions, results::exceptionClass, readException);
    run.results = objectsIn(*fields, results::results, results::versionClass, readVersionResults);
    return run;
}

} // namespace settings::core::detail
