#include "settingscore/settings/file/FileFault.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "varnek/files/PathText.hpp"
#include "json/Parser.hpp"

#include <cmath>

namespace settings::core::detail {

using varnek::json::Array;
using varnek::json::Object;
using varnek::json::ParseError;
using varnek::json::Value;

void FilePlace::refuse(ReadError code, std::string_view path, std::string_view rule) const {
    std::string text = "\"" + varnek::files::shownName(file.native()) + "\"";
    if (!part.empty())
        text += ", part \"" + part + "\"";
    text += ": ";
    if (!path.empty())
        text += std::string(path) + ": ";
    throw exception::ErrorReadingSettingsData(code, shownText(text + std::string(rule)));
}

void FilePlace::refuse(const ParseError& error) const {
    refuse(static_cast<ReadError>(error.failure()), {}, error.what());
}

Object FilePlace::parseObject(std::string_view text) const {
    try {
        return varnek::json::parseObject(text);
    } catch (const ParseError& error) {
        refuse(error);
    }
}

Value FilePlace::parse(std::string_view text) const {
    try {
        return varnek::json::parse(text);
    } catch (const ParseError& error) {
        refuse(error);
    }
}

std::string MemberReader::path() const {
    std::string text(path_);
    if (index_ != noIndex)
        text += "[" + std::to_string(index_) + "]";
    return text;
}

std::optional<bool> MemberReader::boolean(std::string_view key) const {
    const Value* value = find(key);
    if (value == nullptr)
        return std::nullopt;
    if (value->kind() != varnek::json::Kind::boolean)
        refuse(ReadError::type, key, "must be true or false");
    return value->asBool();
}

std::optional<std::string> MemberReader::string(std::string_view key) const {
    const Value* value = find(key);
    if (value == nullptr)
        return std::nullopt;
    if (!value->isString())
        refuse(ReadError::type, key, "must be a string");
    return std::string(value->asString());
}

const Object* MemberReader::object(std::string_view key) const {
    const Value* value = find(key);
    if (value != nullptr && !value->isObject())
        refuse(ReadError::type, key, "must be an object");
    return value == nullptr ? nullptr : value->ifObject();
}

const Array* MemberReader::array(std::string_view key) const {
    const Value* value = find(key);
    if (value != nullptr && !value->isArray())
        refuse(ReadError::type, key, "must be an array");
    return value == nullptr ? nullptr : value->ifArray();
}

std::optional<std::uint64_t> MemberReader::count(std::string_view key) const {
    const Value* value = find(key);
    if (value == nullptr)
        return std::nullopt;
    constexpr double firstInexact = 9007199254740992.0; // 2^53
    if (value->kind() == varnek::json::Kind::float64) {
        const double number = value->asDouble();
        if (number >= 0 && number < firstInexact && number == std::floor(number))
            return static_cast<std::uint64_t>(number);
    } else if (value->isInteger() && (value->kind() == varnek::json::Kind::uint64 || value->asInt64() >= 0)) {
        return value->asUint64();
    }
    refuse(ReadError::numberRange, key, "must be a whole number of at most 64 bits, and not negative");
}

} // namespace settings::core::detail
