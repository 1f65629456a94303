#include "ValueText.hpp"

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

json::Value parseOrExplain(const std::string& text) {
    try {
        return json::parse(text);
    } catch (const json::ParseError& error) {
        throw std::invalid_argument("\"" + text + "\" is not JSON: " + error.what());
    }
}

Array fromTypedOrExplain(const json::Value& value, const std::string& text, std::string_view type) {
    try {
        return json::fromTyped(value);
    } catch (const json::ConversionError& error) {
        throw std::invalid_argument("\"" + text + "\" is no value of type " + std::string(type) + ": " +
                                    error.what());
    }
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
        return std::string(json::Value(value.text()).asString());
    const json::Value typedForm = json::toTyped(value);
    const json::Value& data = typedForm.asObject().at(dataKey);
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
        return fromTypedOrExplain(value, text, "its qftype");
    try {
        return json::fromPlain(value);
    } catch (const json::ConversionError& error) {
        throw std::invalid_argument("\"" + text + "\" is no value: " + error.what());
    }
}

Array parsed(const std::string& text, const Array& like) {
    const TypeCode type = like.type();
    if (like.isVoid()) {
        try {
            return parsedJson(text);
        } catch (const std::invalid_argument&) {
            return Array::text(json::Value(text).asUtf16());
        }
    }
    const bool looksLikeArray = !text.empty() && text.front() == '[';
    if (type == TypeCode::character && !(looksLikeArray && !isOneText(like)))
        return Array::text(json::Value(text).asUtf16());
    if (type == TypeCode::string && !looksLikeArray)
        return Array::scalar(json::Value(text).asUtf16());
    json::Value data = asDataOf(text, type);
    if (const json::Object* object = data.ifObject(); object != nullptr && object->contains(typeKey))
        return fromTypedOrExplain(data, text, "its qftype");
    if (type == TypeCode::cell)
        data = asCellElements(data);
    else if (type == TypeCode::logical)
        data = asLogical(data);
    return fromTypedOrExplain(typed(std::move(data), type), text, varnek::data::className(type));
}

} // namespace vksettings
