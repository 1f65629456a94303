#include "settingscore/settings/file/FunctionMembers.hpp"

#include "settingscore/settings/file/SettingsFileKeys.hpp"

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/static_visitor.hpp>

#include <optional>
#include <string_view>

namespace settings::core::detail {

using varnek::json::Object;
using varnek::json::Value;

namespace {

constexpr char separator = ':';

/// Where a function lives and what it is called.
struct Place {
    std::string language;
    std::string package;
    std::string function;

    std::string qualified() const {
        return language + separator + withoutSeparator(package) + separator + function;
    }

    static std::string withoutSeparator(const std::string& text) {
        std::string escaped;
        for (const char c : text)
            escaped += c == separator ? "%3A" : c == '%' ? "%25" : std::string(1, c);
        return escaped;
    }
};

struct PlaceOf : boost::static_visitor<Place> {
    Place operator()(boost::blank) const { return {}; }
    Place operator()(const MValidator& f) const { return in(keys::languageM, f); }
    Place operator()(const CValidator& f) const { return in(keys::languageC, f); }
    Place operator()(const JValidator& f) const { return in(keys::languageJ, f); }
    Place operator()(const CPPValidator& f) const { return in(keys::languageCpp, f); }
    Place operator()(const CRunTimeDefault& f) const { return in(keys::languageC, f); }
    Place operator()(const MRunTimeDefault& f) const { return in(keys::languageM, f); }
    Place operator()(const JRunTimeDefault& f) const { return in(keys::languageJ, f); }

    static Place in(std::string_view language, const FunctionName& f) {
        return {std::string(language), f.getPackageName(), f.getFunctionName()};
    }
};

std::optional<ValidatorVariant> validatorAt(const Place& place) {
    if (place.language == keys::languageM)
        return MValidator(place.package, place.function);
    if (place.language == keys::languageC)
        return CValidator::fromDefinition(place.package, place.function);
    if (place.language == keys::languageJ)
        return JValidator(place.package, place.function);
    if (place.language == keys::languageCpp) // the callable itself cannot stand in a file
        return CPPValidator({}, place.package, place.function);
    return std::nullopt;
}

std::optional<RunTimeDefaultVariant> runTimeDefaultAt(const Place& place) {
    if (place.language == keys::languageM)
        return MRunTimeDefault(place.package, place.function);
    if (place.language == keys::languageC)
        return CRunTimeDefault::fromDefinition(place.package, place.function);
    if (place.language == keys::languageJ)
        return JRunTimeDefault(place.package, place.function);
    return std::nullopt;
}

bool isLanguage(std::string_view text) {
    return text == keys::languageM || text == keys::languageC || text == keys::languageJ ||
           text == keys::languageCpp;
}

/// The reverse of Place::withoutSeparator; other escapes stay what they are.
std::string withSeparator(std::string_view escaped) {
    std::string text;
    for (std::size_t at = 0; at < escaped.size(); ++at) {
        const std::string_view three = escaped.substr(at, 3);
        const bool isEscape = three == "%3A" || three == "%25";
        text += isEscape ? (three == "%3A" ? separator : '%') : escaped[at];
        at += isEscape ? 2 : 0;
    }
    return text;
}

/// "language:package:function", or nothing for a plain function name.
std::optional<Place> readQualified(std::string_view text) {
    const std::size_t first = text.find(separator);
    if (first == std::string_view::npos || !isLanguage(text.substr(0, first)))
        return std::nullopt;
    const std::size_t second = text.find(separator, first + 1);
    if (second == std::string_view::npos)
        return std::nullopt;
    return Place{std::string(text.substr(0, first)),
                 withSeparator(text.substr(first + 1, second - first - 1)),
                 std::string(text.substr(second + 1))};
}

class Reader {
  public:
    Reader(const Object& object, const std::string& path, const FaultSink& fault)
        : object_(object), path_(path), fault_(fault) {}

    FunctionMembers read() {
        FunctionMembers functions;
        const std::string function = text(keys::functionName);
        std::string validation = text(keys::validationFcn);
        const std::string runTimeDefault = text(keys::runtimeDefaultFcn);
        if (validation.empty() && runTimeDefault.empty())
            validation = function;
        if (!validation.empty())
            take(keys::validationFcn, "a validation function", validatorAt(placeOf(validation)),
                 functions.validator);
        if (!runTimeDefault.empty())
            take(keys::runtimeDefaultFcn, "a run-time default", runTimeDefaultAt(placeOf(runTimeDefault)),
                 functions.runTimeDefault);
        return functions;
    }

  private:
    std::string text(std::string_view key) {
        const Value* value = object_.find(key);
        if (value == nullptr)
            return {};
        if (!value->isString()) {
            report(key, "must be a string");
            return {};
        }
        return std::string(value->asString());
    }

    Place placeOf(const std::string& name) {
        if (auto qualified = readQualified(name))
            return *qualified;
        return {text(keys::language), text(keys::packageName), name};
    }

    template <class Variant>
    void take(std::string_view key, std::string_view what, std::optional<Variant> found, Variant& target) {
        if (found)
            target = std::move(*found);
        else
            report(object_.contains(key) ? key : keys::functionName,
                   "names " + std::string(what) +
                       ", but \"language\" names no language it can be written in");
    }

    void report(std::string_view key, const std::string& rule) {
        fault_(path_ + "." + std::string(key), rule);
    }

    const Object& object_;
    const std::string& path_;
    const FaultSink& fault_;
};

} // namespace

FunctionMembers readFunctionMembers(const Object& object, const std::string& path, const FaultSink& fault) {
    return Reader(object, path, fault).read();
}

bool hasFunctionMembers(const Object& object) noexcept {
    return object.contains(keys::packageName) || object.contains(keys::functionName) ||
           object.contains(keys::validationFcn) || object.contains(keys::runtimeDefaultFcn);
}

void writeFunctionMembers(const FunctionMembers& functions, Object& object) {
    if (functions.isEmpty())
        return;
    const Place validator = boost::apply_visitor(PlaceOf(), functions.validator);
    const Place runTimeDefault = boost::apply_visitor(PlaceOf(), functions.runTimeDefault);
    const bool hasValidator = functions.validator.which() != 0;
    const Place& main = hasValidator ? validator : runTimeDefault;
    const auto named = [&](const Place& place) { // a plain name must not look like one with its place
        const bool plain = place.language == main.language && place.package == main.package &&
                           !readQualified(place.function);
        return plain ? place.function : place.qualified();
    };
    object.set(keys::language, main.language);
    object.set(keys::packageName, main.package);
    object.set(keys::functionName, main.function);
    if (hasValidator)
        object.set(keys::validationFcn, named(validator));
    if (functions.runTimeDefault.which() != 0)
        object.set(keys::runtimeDefaultFcn, named(runTimeDefault));
}

std::string languageOf(const ValidatorVariant& validator) {
    return boost::apply_visitor(PlaceOf(), validator).language;
}

} // namespace settings::core::detail
