#include "settingscore/upgrade/ReleaseCompatibilityResults.hpp"

#include "settingscore/settings/upgrade/ResultKeys.hpp"
#include "varnek/files/PathText.hpp"

#include <functional>

namespace settings::core {

using namespace detail;
using varnek::data::Array;

namespace {

Array text(std::string_view utf8) {
    return Array::text(varnek::files::messageUtf16(utf8));
}

template <class Range, class TextOf>
Array texts(const Range& range, TextOf textOf) {
    std::vector<std::u16string> all;
    for (const auto& element : range)
        all.push_back(varnek::files::messageUtf16(textOf(element)));
    return Array::row(std::move(all));
}

/// One object: its class, then its fields in the order given.
using Fields = std::vector<std::pair<std::string_view, Array>>;

/// A row of objects of one class. `fieldsOf` an element that is not there gives the names alone.
template <class Element>
Array objects(std::string_view className, const std::vector<Element>& elements,
              Fields (*fieldsOf)(const Element&)) {
    std::vector<std::string> names{std::string(results::className)};
    for (const auto& [name, value] : fieldsOf(Element()))
        names.emplace_back(name);
    std::vector<Array> values;
    for (const Element& element : elements) {
        values.push_back(text(className));
        for (auto& [name, value] : fieldsOf(element))
            values.push_back(std::move(value));
    }
    return Array::structure({1, elements.size()}, std::move(names), std::move(values));
}

Fields fieldsOfException(const ReleaseCompatibilityException& exception) {
    return {{results::exceptionId, text(exception.exceptionId)},
            {results::exceptionLog, text(exception.exceptionLog)}};
}

Array exceptions(const std::vector<ReleaseCompatibilityException>& all) {
    return objects(results::exceptionClass, all, fieldsOfException);
}

Fields fieldsOfOperation(const OperationResult& result) {
    const auto same = [](const std::string& path) -> std::string_view { return path; };
    return {{results::operation, text(result.operation)},
            {results::inputs, texts(result.inputs, same)},
            {results::outputs, texts(result.outputs, same)},
            {results::status, text(nameOf(result.status))},
            {results::preValidationExceptions, exceptions(result.preValidationExceptions)},
            {results::exceptionLog, exceptions(result.exceptionLog)},
            {results::upgradeFcnResults,
             texts(result.upgradeFcnResults, [](ResultStatus status) { return nameOf(status); })}};
}

Fields fieldsOfVersion(const VersionResults& version) {
    return {{results::versionLabel, text(version.versionLabel)},
            {results::versionChanges,
             objects(results::operationClass, version.versionChanges, fieldsOfOperation)}};
}

Fields fieldsOfRun(const ReleaseCompatibilityResults& run) {
    return {{results::resultType, text(run.resultType)},
            {results::versionLabel, text(run.versionLabel)},
            {results::preValidationExceptions, exceptions(run.preValidationExceptions)},
            {results::results, objects(results::versionClass, run.results, fieldsOfVersion)}};
}

} // namespace

Array asArray(const ReleaseCompatibilityResults& results) {
    return objects(results::runClass, std::vector{results}, fieldsOfRun);
}

} // namespace settings::core
