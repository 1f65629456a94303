#include "ValueText.hpp"

#include "settingscore/factoryfile/InexactIntegers.hpp"
#include "json/ArrayConversion.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <cmath>
#include <optional>
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
    if (data.isNumber() && (data.asDouble() == 0 || data.asDouble() == 1))
        return data.asDouble() == 1;
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

json::Value parseOrExplain(const std::string& text) {
    try {
        return json::parse(text);
    } catch (const json::ParseError& error) {
        throw std::invalid_argument("\"" + text + "\" is not JSON: " + error.what());
    }
}

/// `data` as it is written: arrays are lists, also those of one element.
ShapedArray shaped(Array value, const json::Value& data) {
    const bool isVector = data.isArray() || settingscore::boostany::isVectorShape(value);
    return {std::move(value), isVector};
}

ShapedArray fromTypedOrExplain(const json::Value& value, const std::string& text) {
    try {
        Array array = json::fromTyped(value);
        const json::Value* data = value.asObject().find(dataKey);
        return shaped(std::move(array), data == nullptr ? json::Value() : *data);
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

json::Value listOfOne(json::Value element) {
    json::Array list;
    list.push_back(std::move(element));
    return list;
}

/// Plain JSON that reads back as that value and that flag, if there is one.
std::optional<json::Value> plainForm(const ShapedArray& value) {
    const auto plain = json::toPlain(value.first);
    if (!plain)
        return std::nullopt;
    const auto readsBack = [&](const json::Value& form) {
        return shaped(json::fromPlain(form), form) == value;
    };
    if (readsBack(*plain))
        return plain;
    json::Value list = listOfOne(*plain);
    return !plain->isArray() && readsBack(list) ? std::optional(std::move(list)) : std::nullopt;
}

/// A list of one element is written as such.
json::Value typedData(const Array& value, bool isVector) {
    const json::Value typedForm = json::toTyped(value);
    const json::Value& data = typedForm.asObject().at(dataKey);
    if (!isVector || data.isArray())
        return data;
    return value.numberOfElements() == 0 ? json::Value(json::Array()) : listOfOne(data);
}

} // namespace

bool isJson(const std::string& text) {
    try {
        json::parse(text);
        return true;
    } catch (const json::ParseError&) {
        return false;
    }
}

json::Value asJson(const Array& value) {
    if (value.isVoid())
        return nullptr;
    if (auto plain = json::toPlain(value))
        return std::move(*plain);
    return json::toTyped(value);
}

json::Value asJson(const ShapedArray& value) {
    const auto& [array, flag] = value;
    if (array.isVoid())
        return nullptr;
    const bool isVector = flag || settingscore::boostany::isVectorShape(array);
    if (auto plain = plainForm({array, isVector}))
        return std::move(*plain);
    return typed(typedData(array, isVector), array.type());
}

std::string shown(const Array& value, bool isVector) {
    if (value.isVoid())
        return "(not set)";
    if (isOneText(value) && !isVector) // a text is shown as it is, without quotes
        return std::string(json::Value(value.texts().empty() ? u"" : value.texts().front()).asString());
    const json::Value data = typedData(value, isVector);
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

bool isJsonArray(const std::string& text) {
    return text.starts_with('[') && isJson(text);
}

ShapedArray parsedJson(const std::string& text) {
    const json::Value value = parseOrExplain(text);
    const json::Object* object = value.ifObject();
    if (object != nullptr && object->contains(typeKey))
        return fromTypedOrExplain(value, text);
    refuseInexact(text);
    try {
        return shaped(json::fromPlain(value), value);
    } catch (const json::ConversionError& error) {
        throw std::invalid_argument("\"" + text + "\" is no value: " + error.what());
    }
}

ShapedArray parsed(const std::string& text, const ShapedArray& like) {
    if (like.first.isVoid())
        return isJson(text) ? parsedJson(text) : ShapedArray(Array::text(json::Value(text).asUtf16()), false);
    const bool isOneLiteral = isOneText(like.first) && !like.second;
    TypeCode type = like.first.type();
    if (type == TypeCode::character && isOneText(like.first) && like.second)
        type = TypeCode::string; // texts of any length
    const bool isText = type == TypeCode::character || type == TypeCode::string;
    if (isText && (isOneLiteral || !text.starts_with('['))) {
        const auto literal = json::Value(text).asUtf16();
        return {type == TypeCode::character ? Array::text(literal) : Array::scalar(literal), like.second};
    }
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
    ShapedArray value = fromTypedOrExplain(typed(std::move(data), type), text);
    value.second = value.second || like.second;
    return value;
}

} // namespace vksettings
