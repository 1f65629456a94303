#include "ValueText.hpp"

#include "settingscore/factoryfile/InexactIntegers.hpp"
#include "json/ArrayConversion.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <cmath>
#include <stdexcept>

namespace vksettings {

using varnek::data::Array;
using varnek::data::TypeCode;
namespace json = varnek::json;

namespace {

constexpr std::string_view dataKey = "qfdata";
constexpr std::string_view typeKey = "qftype";

bool isOneText(const Array& value) {
    if (value.type() == TypeCode::string)
        return value.numberOfElements() == 1;
    return value.type() == TypeCode::character &&
           (value.numberOfElements() == 0 || value.dimensions()[0] == 1) && value.dimensions().size() == 2;
}

json::Value typed(json::Value data, TypeCode type) {
    json::Object object;
    object.set(dataKey, std::move(data));
    object.set(typeKey, varnek::data::className(type));
    return object;
}

/// The elements of a cell are arrays of their own and need their types.
json::Value asCellElements(const json::Value& data) {
    const json::Array* elements = data.ifArray();
    if (elements == nullptr)
        return data.isString() ? typed(data, TypeCode::character) : data;
    json::Array typedElements;
    for (const json::Value& element : *elements)
        typedElements.push_back(asCellElements(element));
    return typedElements;
}

/// The other way round, for people.
json::Value withoutTypes(const json::Value& data) {
    if (const json::Object* object = data.ifObject())
        return object->at(dataKey);
    json::Array plain;
    for (const json::Value& element : data.asArray())
        plain.push_back(withoutTypes(element));
    return plain;
}

/// The words people use for a logical value.
json::Value asLogical(const json::Value& data) {
    if (data.isInteger() && (data == json::Value(0) || data == json::Value(1)))
        return data == json::Value(1);
    const json::Array* elements = data.ifArray();
    if (elements == nullptr)
        return data;
    json::Array logicals;
    for (const json::Value& element : *elements)
        logicals.push_back(asLogical(element));
    return logicals;
}

bool isSpecialNumber(const std::string& text) {
    return text == "NaN" || text == "Inf" || text == "-Inf";
}

bool isJson(const std::string& text) {
    try {
        json::parse(text);
        return true;
    } catch (const json::ParseError&) {
        return false;
    }
}

json::Value parseOrExplain(const std::string& text) {
    try {
        return json::parse(text);
    } catch (const json::ParseError& error) {
        throw std::invalid_argument("\"" + text + "\" is not JSON: " + error.what());
    }
}

Array fromTypedOrExplain(const json::Value& value, const std::string& text) {
    try {
        return json::fromTyped(value);
    } catch (const json::ConversionError& error) {
        const json::Value* type = value.asObject().find(typeKey);
        throw std::invalid_argument("\"" + text + "\" is no value" +
                                    (type != nullptr && type->isString()
                                         ? " of type " + std::string(type->asString())
                                         : std::string()) +
                                    ": " + error.what());
    }
}

/// Plain integers become floating-point numbers; a rounded one is none that was asked for.
void refuseInexact(const std::string& text) {
    const auto inexact = varnek::settings::inexactIntegers(text);
    if (!inexact.empty())
        throw std::invalid_argument("no double is exactly " + inexact.front().digits + ": it would become " +
                                    inexact.front().asDouble +
                                    "; --json '{\"qfdata\":...,\"qftype\":\"int64\"}' stores such integers");
}
void refuseInexactSingles(const json::Value& data) {
    if (data.isInteger() && static_cast<double>(static_cast<float>(data.asDouble())) != data.asDouble())
        throw std::invalid_argument("no value of type single is exactly " + json::write(data));
    if (const json::Array* elements = data.ifArray())
        for (const json::Value& element : *elements)
            refuseInexactSingles(element);
}

json::Value asDataOf(const std::string& text, TypeCode type) {
    if (isSpecialNumber(text))
        return text;
    try {
        return json::parse(text);
    } catch (const json::ParseError&) {
        throw std::invalid_argument("\"" + text + "\" is no value of type " +
                                    std::string(varnek::data::className(type)));
    }
}

} // namespace

json::Value asJson(const Array& value) {
    if (value.isVoid())
        return nullptr;
    if (auto plain = json::toPlain(value))
        return std::move(*plain);
    return json::toTyped(value);
}

std::string shown(const Array& value) {
    if (value.isVoid())
        return "(not set)";
    if (isOneText(value)) // a text is shown as it is, without quotes
        return std::string(json::Value(value.texts().empty() ? u"" : value.texts().front()).asString());
    const json::Value typedForm = json::toTyped(value);
    const json::Value& data = typedForm.asObject().at(dataKey);
    if (data.isString()) // NaN, Inf, -Inf
        return std::string(data.asString());
    return json::write(value.type() == TypeCode::cell ? withoutTypes(data) : data);
}

std::string typeShown(const Array& value) {
    if (value.isVoid())
        return {};
    const std::string type(varnek::data::className(value.type()));
    const bool isOne = value.numberOfElements() == 1 || isOneText(value);
    return isOne ? type : type + " " + varnek::data::dimensionsText(value);
}

Array parsedJson(const std::string& text) {
    const json::Value value = parseOrExplain(text);
    const json::Object* object = value.ifObject();
    if (object != nullptr && object->contains(typeKey))
        return fromTypedOrExplain(value, text);
    refuseInexact(text);
    try {
        return json::fromPlain(value);
    } catch (const json::ConversionError& error) {
        throw std::invalid_argument("\"" + text + "\" is no value: " + error.what());
    }
}

Array parsed(const std::string& text, const Array& like) {
    const TypeCode type = like.type();
    const bool isText = type == TypeCode::character || type == TypeCode::string;
    const bool looksLikeArray = text.starts_with('[') && !isOneText(like);
    if (like.isVoid() ? !isJson(text) : type == TypeCode::character && !looksLikeArray)
        return Array::text(json::Value(text).asUtf16());
    if (like.isVoid())
        return parsedJson(text);
    if (isText && !looksLikeArray)
        return Array::scalar(json::Value(text).asUtf16());
    json::Value data = asDataOf(text, type);
    if (const json::Object* object = data.ifObject(); object != nullptr && object->contains(typeKey))
        return fromTypedOrExplain(data, text);
    if (type == TypeCode::cell)
        data = asCellElements(data);
    else if (type == TypeCode::logical)
        data = asLogical(data);
    else if (type == TypeCode::float64)
        refuseInexact(text);
    else if (type == TypeCode::float32)
        refuseInexactSingles(data);
    return fromTypedOrExplain(typed(std::move(data), type), text);
}

} // namespace vksettings
