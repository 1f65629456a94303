#include "settingscore/factoryfile/gschema/KeyMapping.hpp"

#include "settingscore/factoryfile/ValueCheck.hpp"
#include "settingscore/factoryfile/gschema/GVariantText.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/file/ValidatorJson.hpp"
#include "json/ArrayConversion.hpp"

#include <charconv>
#include <limits>

namespace settings::core::detail {

using settingscore::boostany::ShapedArray;
using varnek::json::Array;
using varnek::json::Object;
using varnek::json::Value;

namespace {

/// In words, why values of the type have no place in a setting.
std::string reasonAgainst(const std::string& type) {
    const char* what = "an unknown type";
    if (type.find('{') != std::string::npos)
        what = "a dictionary";
    else if (type.find('(') != std::string::npos)
        what = "a tuple";
    else if (type.find('v') != std::string::npos)
        what = "a variant";
    else if (type.find('m') != std::string::npos)
        what = "a value that may be absent";
    else if (type.starts_with("aa"))
        what = "an array of arrays";
    else if (type.find_first_of("ogh") != std::string::npos)
        what = "an object path, signature or handle";
    return "a setting cannot hold " + std::string(what) + " (type \"" + type + "\")";
}

class KeyMapper {
  public:
    KeyMapper(const SchemaKey& key, const std::map<std::string, SchemaEnumeration, std::less<>>& enumerations)
        : key_(key), enumerations_(enumerations), type_(typeOf()), elementType_(type_.back()),
          isVector_(type_.size() == 2) {}

    Object map() const {
        if (!key_.defaultValue)
            throw UnmappableKey("it has no default");
        const ShapedArray value = read(key_.defaultValue->text, type_, "default");
        const Object validator = validatorOf();
        checkDefault(value.first, validator);
        Object setting;
        setting.set(keys::name, key_.name);
        if (isVector_)
            setting.set(keys::isVector, true);
        auto plain = varnek::json::toPlain(value.first);
        setting.set(keys::value, plain ? std::move(*plain) : varnek::json::toTyped(value.first));
        setting.set(keys::settingValueValidator, validator);
        Object attributes = attributesOf();
        if (!attributes.empty())
            setting.set(keys::attributes, std::move(attributes));
        return setting;
    }

  private:
    std::string typeOf() const {
        if (!key_.type.empty() + !key_.enumeration.empty() + !key_.flags.empty() != 1)
            throw UnmappableKey(
                "it must have exactly one of the attributes \"type\", \"enum\" and \"flags\"");
        if (!key_.enumeration.empty())
            return "s";
        if (!key_.flags.empty())
            return "as";
        if (!isReadableGVariantType(key_.type))
            throw UnmappableKey(reasonAgainst(key_.type));
        return key_.type;
    }

    /// The nicks that an enumerated key takes; null for any other key.
    const SchemaEnumeration* enumeration() const {
        const std::string& id = key_.enumeration.empty() ? key_.flags : key_.enumeration;
        if (id.empty())
            return nullptr;
        const auto found = enumerations_.find(id);
        if (found == enumerations_.end())
            throw UnmappableKey("the enumeration \"" + id + "\" is in none of the files");
        return &found->second;
    }

    static ShapedArray read(const std::string& text, const std::string& type, const char* what) {
        try {
            return readGVariant(text, type);
        } catch (const GVariantError& error) {
            throw UnmappableKey("its " + std::string(what) + " cannot be read: " + error.what());
        }
    }

    Object validatorOf() const {
        Object validator;
        validator.set(keys::isVector, isVector_);
        if (elementType_ == 'b')
            validator.set(keys::mustBeLogical, true);
        else if (elementType_ == 's')
            addChoices(validator);
        else
            addRange(validator);
        if (key_.choices && elementType_ != 's')
            throw UnmappableKey("it has choices, but is no text");
        if ((key_.min || key_.max) && (elementType_ == 's' || elementType_ == 'b' || isVector_))
            throw UnmappableKey("it has a range, but is no number");
        return validator;
    }

    void addChoices(Object& validator) const {
        validator.set(keys::mustBeString, true);
        Array texts;
        if (const SchemaEnumeration* values = enumeration()) {
            for (const auto& [nick, number] : *values)
                texts.push_back(nick);
        } else if (key_.choices) {
            for (const std::string& choice : *key_.choices)
                texts.push_back(choice);
        } else {
            return;
        }
        if (texts.empty()) // to a validator that would mean every text
            throw UnmappableKey("it allows no value at all");
        validator.set(keys::validStringValues, std::move(texts));
    }

    void addRange(Object& validator) const {
        validator.set(keys::mustBeNumeric, true);
        if (elementType_ != 'd')
            validator.set(keys::mustBeInteger, true);
        addBound(validator, keys::minValue, key_.min, leastOfType());
        addBound(validator, keys::maxValue, key_.max, greatestOfType());
    }

    void addBound(Object& validator, std::string_view key, const std::optional<std::string>& text,
                  const std::optional<Value>& ofType) const {
        std::optional<Value> bound = ofType;
        if (text) {
            const Value typed = varnek::json::toTyped(read(*text, type_, "range").first);
            bound = typed.asObject().at(varnek::json::typedDataKey);
            if (bound->isString()) // an infinity
                bound = typed;
        }
        if (!bound || isLimitOf64Bits(*bound))
            return;
        if (bound->isInteger() && !(Value(bound->asDouble()) == *bound))
            throw UnmappableKey("a bound of its range is not exact as a double");
        validator.set(key, std::move(*bound));
    }

    /// A bound that says no more than the type does, and that a double cannot hold.
    bool isLimitOf64Bits(const Value& bound) const {
        return (elementType_ == 'x' && bound == Value(std::numeric_limits<std::int64_t>::max())) ||
               (elementType_ == 't' && bound == Value(std::numeric_limits<std::uint64_t>::max()));
    }

    /// The bounds keep the range of the type, which a setting's class alone does not. Those of 64 bits are
    /// left out where a double cannot hold them.
    std::optional<Value> leastOfType() const {
        switch (elementType_) {
        case 'n':
            return Value(std::numeric_limits<std::int16_t>::min());
        case 'i':
            return Value(std::numeric_limits<std::int32_t>::min());
        case 'x':
        case 'd':
            return std::nullopt;
        default:
            return Value(0);
        }
    }
    std::optional<Value> greatestOfType() const {
        switch (elementType_) {
        case 'y':
            return Value(std::numeric_limits<std::uint8_t>::max());
        case 'n':
            return Value(std::numeric_limits<std::int16_t>::max());
        case 'q':
            return Value(std::numeric_limits<std::uint16_t>::max());
        case 'i':
            return Value(std::numeric_limits<std::int32_t>::max());
        case 'u':
            return Value(std::numeric_limits<std::uint32_t>::max());
        default:
            return std::nullopt;
        }
    }

    static void checkDefault(const varnek::data::Array& value, const Object& validator) {
        std::vector<std::string> faults;
        const FaultSink note = [&](const std::string& path, const std::string& rule) {
            faults.push_back(path + " " + rule);
        };
        const auto validators = readValidators(validator, "its validator", note);
        reportContradictions(validators, "its validator", false, note);
        if (!faults.empty())
            throw UnmappableKey(faults.front());
        if (const auto refusal = refusalOf(validators, value))
            throw UnmappableKey("its default contradicts its type, range or choices: it " + *refusal);
    }

    Object attributesOf() const {
        Object attributes;
        const auto set = [&](std::string_view name, const std::string& text) {
            if (!text.empty())
                attributes.set(name, text);
        };
        set(keys::attributeTitle, key_.summary);
        set(keys::attributeDescription, key_.description);
        set("l10n", key_.defaultValue->l10n);
        set("context", key_.defaultValue->context);
        if (const SchemaEnumeration* values = enumeration()) {
            set("enum", key_.enumeration);
            set("flags", key_.flags);
            Object numbers;
            for (const auto& [nick, number] : *values)
                numbers.set(nick, number);
            attributes.set("enumValues", std::move(numbers));
        }
        Object aliases;
        for (const auto& [old, target] : key_.aliases)
            aliases.set(old, target);
        if (!aliases.empty())
            attributes.set("choiceAliases", std::move(aliases));
        return attributes;
    }

    const SchemaKey& key_;
    const std::map<std::string, SchemaEnumeration, std::less<>>& enumerations_;
    const std::string type_;
    const char elementType_;
    const bool isVector_;
};

} // namespace

Object settingFromKey(const SchemaKey& key,
                      const std::map<std::string, SchemaEnumeration, std::less<>>& enumerations) {
    return KeyMapper(key, enumerations).map();
}

} // namespace settings::core::detail
