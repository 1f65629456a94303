// factory check: whether a factory file is sound, and what it breaks for users of the one before it.

#include "Commands.hpp"
#include "Printable.hpp"
#include "TargetFile.hpp"

#include "settingscore/factoryfile/FactoryFileCheck.hpp"
#include "json/Writer.hpp"

namespace vksettings {

namespace json = varnek::json;
using varnek::settings::FactoryFileFinding;

namespace {

json::Object asJson(const FactoryFileFinding& finding, const char* failureWord) {
    json::Object object;
    object.set("finding", finding.isFailure ? failureWord : "note");
    object.set("kind", varnek::settings::nameOf(finding.kind));
    object.set("name", jsonText(finding.name));
    object.set("message", jsonText(finding.message));
    return object;
}

/// Failures first.
void print(const std::vector<FactoryFileFinding>& findings, const char* failureWord, std::ostream& out) {
    for (const bool failures : {true, false})
        for (const FactoryFileFinding& finding : findings)
            if (finding.isFailure == failures)
                out << printable(std::string(failures ? failureWord : "note") + ": " + finding.name + ": " +
                                 finding.message)
                    << '\n';
}

} // namespace

ExitCode factoryCheck(const CheckOptions& options, std::ostream& out) {
    const bool compares = options.files.size() == 2;
    const char* const failureWord = compares ? "break" : "failed";
    const auto findings = compares
                              ? varnek::settings::compareFactoryFiles(factoryFilePath(options.files.front()),
                                                                      factoryFilePath(options.files.back()))
                              : varnek::settings::checkFactoryFile(factoryFilePath(options.files.front()));
    std::size_t failures = 0;
    for (const FactoryFileFinding& finding : findings)
        failures += finding.isFailure ? 1 : 0;
    if (options.json) {
        json::Array array;
        for (const FactoryFileFinding& finding : findings)
            array.push_back(asJson(finding, failureWord));
        out << json::writeIndented(json::Value(std::move(array))) << '\n';
    } else {
        print(findings, failureWord, out);
        out << counted(failures, compares ? "break" : "failure") << ", "
            << counted(findings.size() - failures, "note") << '\n';
    }
    return failures == 0 ? done : refused;
}

} // namespace vksettings
