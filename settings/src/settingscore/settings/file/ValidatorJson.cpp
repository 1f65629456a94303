#include "settingscore/settings/file/ValidatorJson.hpp"

#include "settingscore/settings/file/JsonPath.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "json/ArrayConversion.hpp"

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/static_visitor.hpp>

#include <cmath>
#include <initializer_list>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace settings::core::detail {

using varnek::json::Kind;
using varnek::json::Object;
using varnek::json::Value;
using Validator = SettingValueValidator::ConfigData;

namespace {

/// A typed number as plain JSON, an integer exactly; any other value as it is.
Value plainNumber(const Value& value) {
    if (!value.isObject())
        return value;
    const varnek::data::Array array = varnek::json::fromTyped(value);
    if (array.numberOfElements() != 1)
        return value;
    switch (array.type()) {
    case varnek::data::TypeCode::float64:
        return array.element<double>();
    case varnek::data::TypeCode::float32:
        return static_cast<double>(array.element<float>());
    case varnek::data::TypeCode::int8:
        return array.element<std::int8_t>();
    case varnek::data::TypeCode::uint8:
        return array.element<std::uint8_t>();
    case varnek::data::TypeCode::int16:
        return array.element<std::int16_t>();
    case varnek::data::TypeCode::uint16:
        return array.element<std::uint16_t>();
    case varnek::data::TypeCode::int32:
        return array.element<std::int32_t>();
    case varnek::data::TypeCode::uint32:
        return array.element<std::uint32_t>();
    case varnek::data::TypeCode::int64:
        return array.element<std::int64_t>();
    case varnek::data::TypeCode::uint64:
        return array.element<std::uint64_t>();
    default:
        return value;
    }
}

class Reader {
  public:
    Reader(const Object& object, const std::string& path, const FaultSink& fault)
        : object_(object), path_(path), fault_(fault) {}

    std::optional<Validator> read() {
        checkMembers();
        const bool numeric =
            asksFor({keys::mustBeNumeric, keys::mustBeInteger}, {keys::minValue, keys::maxValue});
        const bool string = asksFor({keys::mustBeString, keys::storeAsCharVector},
                                    {keys::validStringValues, keys::minStringSize, keys::maxStringSize});
        const bool logical = asksFor({keys::mustBeLogical}, {});
        const int kinds = numeric + string + logical;
        if (kinds > 1)
            report(path_, "asks for more than one of numbers, texts and logical values");
        else if (kinds == 0 && reported_.empty())
            report(path_, "must say whether numbers, texts or logical values are accepted");
        auto validator = numeric  ? overShape<NumericMetaData>()
                         : string ? overShape<StringMetaData>()
                                  : overShape<MustBeLogical>();
        return !reported_.empty() ? std::nullopt : std::optional(std::move(validator));
    }

  private:
    void report(const std::string& path, const std::string& rule) {
        if (reported_.insert(path + ": " + rule).second)
            fault_(path, rule);
    }
    void reportMember(std::string_view key, const std::string& rule) { report(memberPath(path_, key), rule); }

    void checkMembers() {
        constexpr std::string_view known[] = {
            keys::isVector,      keys::mustBeNumeric,     keys::mustBeInteger,     keys::minValue,
            keys::maxValue,      keys::mustBeString,      keys::validStringValues, keys::minStringSize,
            keys::maxStringSize, keys::storeAsCharVector, keys::mustBeLogical,     keys::minVectorSize,
            keys::maxVectorSize};
        for (const auto& member : object_)
            if (std::find(std::begin(known), std::end(known), member.key.view()) == std::end(known))
                reportMember(member.key, "is not a member of a validator");
    }

    std::optional<bool> flag(std::string_view key) {
        const Value* value = object_.find(key);
        if (value == nullptr)
            return std::nullopt;
        if (value->kind() == Kind::boolean)
            return value->asBool();
        reportMember(key, "must be true or false");
        return std::nullopt;
    }

    bool asksFor(std::initializer_list<std::string_view> flags,
                 std::initializer_list<std::string_view> members) {
        bool asked = false;
        for (const std::string_view key : flags)
            asked = flag(key).value_or(false) || asked;
        for (const std::string_view key : members)
            asked = asked || object_.contains(key);
        return asked;
    }

    /// The member as a plain number, or nothing when it is absent or at fault.
    std::optional<Value> number(std::string_view key) {
        const Value* value = object_.find(key);
        if (value == nullptr)
            return std::nullopt;
        try {
            Value plain = plainNumber(*value);
            if (plain.isNumber())
                return plain;
            reportMember(key, "must be a number");
        } catch (const varnek::json::ConversionError& failure) {
            reportMember(key, failure.what());
        }
        return std::nullopt;
    }

    boost::optional<double> bound(std::string_view key) {
        const auto value = number(key);
        if (!value)
            return boost::none;
        const double result = value->asDouble();
        if (!(Value(result) == *value)) {
            reportMember(key, "must be a number that a double holds exactly");
            return boost::none;
        }
        return result;
    }

    boost::optional<std::uint64_t> size(std::string_view key) {
        const auto value = number(key);
        if (!value)
            return boost::none;
        constexpr double firstInexact = 9007199254740992.0; // 2^53
        if (value->kind() == Kind::float64) {
            const double real = value->asDouble();
            if (real >= 0 && real < firstInexact && real == std::floor(real))
                return static_cast<std::uint64_t>(real);
        } else if (value->kind() == Kind::uint64 || value->asInt64() >= 0) {
            return value->asUint64();
        }
        reportMember(key, "must be a whole number, not negative");
        return boost::none;
    }

    template <template <class> class KindData>
    Validator overShape() {
        const auto isVector = flag(keys::isVector);
        if (isVector == true) {
            KindData<MustBeVector> data;
            const auto min = size(keys::minVectorSize), max = size(keys::maxVectorSize);
            if (min)
                data.setMinNumberOfElements(*min);
            if (max)
                data.setMaxNumberOfElements(*max);
            return filled(std::move(data));
        }
        for (const std::string_view key : {keys::minVectorSize, keys::maxVectorSize})
            if (object_.contains(key))
                reportMember(key, "needs \"isVector\" to be true");
        if (isVector == false)
            return filled(KindData<MustBeScalar>());
        return filled(KindData<AnyShape>());
    }

    template <class Shape>
    Validator filled(NumericMetaData<Shape> data) {
        if (flag(keys::mustBeInteger).value_or(false))
            data.mustBeInteger();
        const auto min = bound(keys::minValue), max = bound(keys::maxValue);
        if (min)
            data.setMinValue(*min);
        if (max)
            data.setMaxValue(*max);
        return data;
    }

    template <class Shape>
    Validator filled(StringMetaData<Shape> data) {
        data.mustBeMember(validStringValues());
        const auto min = size(keys::minStringSize), max = size(keys::maxStringSize);
        if (min)
            data.setMinStringSize(*min);
        if (max)
            data.setMaxStringSize(*max);
        data.setStoreAsCharVector(flag(keys::storeAsCharVector).value_or(false));
        return data;
    }

    template <class Shape>
    Validator filled(MustBeLogical<Shape> data) {
        return data;
    }

    std::vector<std::u16string> validStringValues() {
        std::vector<std::u16string> texts;
        const Value* value = object_.find(keys::validStringValues);
        if (value == nullptr)
            return texts;
        const std::string path = memberPath(path_, keys::validStringValues);
        if (!value->isArray()) {
            report(path, "must be an array of strings");
            return texts;
        }
        const varnek::json::Array& array = value->asArray();
        for (std::size_t i = 0; i < array.size(); ++i) {
            if (array[i].isString())
                texts.push_back(array[i].asUtf16());
            else
                report(elementPath(path, i), "must be a string");
        }
        return texts;
    }

    const Object& object_;
    const std::string& path_;
    const FaultSink& fault_;
    std::set<std::string> reported_; // a member is looked at more than once
};

struct ContradictionCheck : boost::static_visitor<void> {
    ContradictionCheck(const std::string& where, const FaultSink& sink) : path(where), fault(sink) {}

    template <class Shape>
    void operator()(const NumericMetaData<Shape>& data) const {
        checkShape(data);
        const auto min = data.getMinValue(), max = data.getMaxValue();
        for (const auto& [key, value] : {std::pair(keys::minValue, min), std::pair(keys::maxValue, max)})
            if (value && std::isnan(*value))
                fault(memberPath(path, key), "is NaN, which no value satisfies");
        if (min && max && *min > *max)
            fault(memberPath(path, keys::minValue), "is greater than \"MaxValue\"");
    }
    template <class Shape>
    void operator()(const StringMetaData<Shape>& data) const {
        checkShape(data);
        checkSizes(keys::minStringSize, data.getMinStringSize(), keys::maxStringSize,
                   data.getMaxStringSize());
    }
    template <class Shape>
    void operator()(const MustBeLogical<Shape>& data) const {
        checkShape(data);
    }

  private:
    void checkShape(const MustBeVector& shape) const {
        checkSizes(keys::minVectorSize, shape.getMinNumberOfElements(), keys::maxVectorSize,
                   shape.getMaxNumberOfElements());
    }
    void checkShape(const MustBeScalar&) const {}
    void checkShape(const AnyShape&) const {}

    void checkSizes(std::string_view minKey, boost::optional<std::uint64_t> min, std::string_view maxKey,
                    boost::optional<std::uint64_t> max) const {
        if (min && max && *max != 0 && *min > *max) // 0 is no bound
            fault(memberPath(path, minKey), "is greater than \"" + std::string(maxKey) + "\"");
    }

    const std::string& path;
    const FaultSink& fault;
};

struct Writer : boost::static_visitor<Object> {
    template <class Shape>
    Object operator()(const NumericMetaData<Shape>& data) const {
        Object json;
        json.set(keys::mustBeNumeric, true);
        if (data.isIntegerRequired())
            json.set(keys::mustBeInteger, true);
        setBound(json, keys::minValue, data.getMinValue());
        setBound(json, keys::maxValue, data.getMaxValue());
        setShape(json, data);
        return json;
    }

    template <class Shape>
    Object operator()(const StringMetaData<Shape>& data) const {
        Object json;
        json.set(keys::mustBeString, true);
        if (!data.getAllowedValues().empty()) {
            varnek::json::Array texts;
            for (const std::u16string& text : data.getAllowedValues())
                texts.push_back(text);
            json.set(keys::validStringValues, std::move(texts));
        }
        setSize(json, keys::minStringSize, data.getMinStringSize());
        setSize(json, keys::maxStringSize, data.getMaxStringSize());
        if (data.isStoredAsCharVector())
            json.set(keys::storeAsCharVector, true);
        setShape(json, data);
        return json;
    }

    template <class Shape>
    Object operator()(const MustBeLogical<Shape>& data) const {
        Object json;
        json.set(keys::mustBeLogical, true);
        setShape(json, data);
        return json;
    }

  private:
    static void setBound(Object& json, std::string_view key, const boost::optional<double>& value) {
        if (value)
            json.set(key, varnek::json::toTyped(varnek::data::Array::scalar(*value)));
    }
    static void setSize(Object& json, std::string_view key, const boost::optional<std::uint64_t>& value) {
        if (value)
            json.set(key, *value);
    }
    static void setShape(Object& json, const MustBeScalar&) { json.set(keys::isVector, false); }
    static void setShape(Object&, const AnyShape&) {}
    static void setShape(Object& json, const MustBeVector& shape) {
        json.set(keys::isVector, true);
        setSize(json, keys::minVectorSize, shape.getMinNumberOfElements());
        setSize(json, keys::maxVectorSize, shape.getMaxNumberOfElements());
    }
};

} // namespace

std::vector<Validator> readValidators(const Value& json, const std::string& path, const FaultSink& fault) {
    std::vector<Validator> validators;
    const auto readOne = [&](const Value& one, const std::string& place) {
        if (const Object* object = one.ifObject()) {
            if (auto validator = Reader(*object, place, fault).read())
                validators.push_back(std::move(*validator));
        } else {
            fault(place, "must be a validator object");
        }
    };
    if (const varnek::json::Array* array = json.ifArray()) {
        for (std::size_t i = 0; i < array->size(); ++i)
            readOne((*array)[i], elementPath(path, i));
    } else {
        readOne(json, path);
    }
    return validators;
}

void reportContradictions(const std::vector<Validator>& validators, const std::string& path, bool inArray,
                          const FaultSink& fault) {
    for (std::size_t i = 0; i < validators.size(); ++i) {
        const std::string place = inArray ? elementPath(path, i) : path;
        boost::apply_visitor(ContradictionCheck(place, fault), validators[i]);
    }
}

Value writeValidators(const std::vector<Validator>& validators) {
    if (validators.size() == 1)
        return boost::apply_visitor(Writer(), validators.front());
    varnek::json::Array array;
    for (const Validator& validator : validators)
        array.push_back(boost::apply_visitor(Writer(), validator));
    return array;
}

} // namespace settings::core::detail
