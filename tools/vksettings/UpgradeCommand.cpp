// upgrade: what the changes between releases do to personal files.

#include "Commands.hpp"
#include "Printable.hpp"
#include "TargetFile.hpp"

#include "settingscore/root/PersonalUpgrade.hpp"
#include "varnek/files/PathText.hpp"
#include "json/Writer.hpp"

#include <map>
#include <stdexcept>

namespace vksettings {

namespace json = varnek::json;
using settings::core::OperationResult;
using settings::core::ReleaseCompatibilityException;
using settings::core::ReleaseCompatibilityResults;
using settings::core::ResultStatus;
using settings::core::VersionResults;

namespace {

std::string joined(const std::vector<std::string>& names) {
    std::string all;
    for (const std::string& name : names)
        all += (all.empty() ? "" : ", ") + name;
    return all;
}

std::string shown(const ReleaseCompatibilityException& exception) {
    return exception.exceptionId.empty() ? exception.exceptionLog
                                         : exception.exceptionLog + " (" + exception.exceptionId + ")";
}

json::Array texts(const std::vector<std::string>& names) {
    json::Array array;
    for (const std::string& name : names)
        array.push_back(jsonText(name));
    return array;
}

json::Array asJson(const std::vector<ReleaseCompatibilityException>& exceptions) {
    json::Array array;
    for (const ReleaseCompatibilityException& exception : exceptions) {
        json::Object object;
        object.set("id", jsonText(exception.exceptionId));
        object.set("message", jsonText(exception.exceptionLog));
        array.push_back(std::move(object));
    }
    return array;
}

std::vector<ReleaseCompatibilityException> exceptionsOf(const OperationResult& result) {
    auto all = result.preValidationExceptions;
    all.insert(all.end(), result.exceptionLog.begin(), result.exceptionLog.end());
    return all;
}

json::Object asJson(const std::string& group, const ReleaseCompatibilityResults& results) {
    json::Array changes;
    for (const VersionResults& version : results.results)
        for (const OperationResult& result : version.versionChanges) {
            json::Object object;
            object.set("release", jsonText(version.versionLabel));
            object.set("operation", jsonText(result.operation));
            object.set("inputs", texts(result.inputs));
            object.set("outputs", texts(result.outputs));
            object.set("status", nameOf(result.status));
            object.set("exceptions", asJson(exceptionsOf(result)));
            changes.push_back(std::move(object));
        }
    json::Object object;
    object.set("group", jsonText(group));
    object.set("type", jsonText(results.resultType));
    object.set("release", jsonText(results.versionLabel));
    object.set("exceptions", asJson(results.preValidationExceptions));
    object.set("changes", std::move(changes));
    return object;
}

void print(const ReleaseCompatibilityResults& results, std::ostream& out) {
    std::map<ResultStatus, std::size_t> counts;
    std::size_t count = 0;
    for (const VersionResults& version : results.results) {
        out << printable(version.versionLabel) << '\n';
        for (const OperationResult& result : version.versionChanges) {
            std::string line = result.operation + " " + joined(result.inputs);
            if (!result.outputs.empty())
                line += " -> " + joined(result.outputs);
            line += ": " + std::string(nameOf(result.status));
            for (const auto& exception : exceptionsOf(result))
                line += ": " + shown(exception);
            out << "  " << printable(line) << '\n';
            ++counts[result.status];
            ++count;
        }
    }
    for (const auto& exception : results.preValidationExceptions)
        out << printable(shown(exception)) << '\n';
    if (count > 0)
        out << counted(count, "change") << ": " << counts[ResultStatus::succeeded] << " succeeded, "
            << counts[ResultStatus::skipped] << " skipped, " << counts[ResultStatus::failed] << " failed\n";
}

void requireGroup(const UpgradeOptions& options) {
    if (options.group.empty())
        throw std::invalid_argument("the name of a top-level group is needed");
}

ExitCode dryRun(const UpgradeOptions& options, std::ostream& out) {
    requireGroup(options);
    const auto preview = settings::core::previewUpgrade(options.group);
    if (options.json) {
        json::Object object = asJson(options.group, preview.results);
        object.set("file", jsonText(preview.file.native()));
        object.set("isThere", preview.isThere);
        object.set("upgraderIndex", preview.upgraderIndex);
        object.set("changeIndex", preview.changeIndex);
        object.set("upgraderCount", preview.upgraderCount);
        out << json::writeIndented(json::Value(std::move(object))) << '\n';
    } else if (!preview.isThere) {
        out << printable(preview.file.string()) << " is not there: nothing to do\n";
    } else {
        out << printable(preview.file.string()) << ": through " << preview.upgraderIndex << " of "
            << counted(preview.upgraderCount, "upgrader");
        if (preview.changeIndex > 0)
            out << " and " << counted(preview.changeIndex, "change") << " of the next";
        out << (preview.results.isEmpty() ? ", nothing to do\n" : "\n");
        print(preview.results, out);
    }
    return preview.results.preValidationExceptions.empty() ? done : refused;
}

void showLog(const UpgradeOptions& options, std::ostream& out) {
    json::Array runs;
    for (const auto& [group, results] : settings::core::loggedUpgrades(options.group)) {
        if (options.json) {
            runs.push_back(asJson(group, results));
            continue;
        }
        out << printable(group + ": " + results.resultType +
                         (results.versionLabel.empty() ? "" : " to " + results.versionLabel))
            << '\n';
        print(results, out);
    }
    if (options.json)
        out << json::writeIndented(json::Value(std::move(runs))) << '\n';
}

void undo(const UpgradeOptions& options, std::ostream& out) {
    requireGroup(options);
    const auto copy = settings::core::copyFileBeforeUpgrade(options.group, absolutePath(options.to));
    if (options.json) {
        json::Object object;
        object.set("group", jsonText(options.group));
        object.set("file", jsonText(copy.native()));
        out << json::writeIndented(json::Value(std::move(object))) << '\n';
    } else {
        out << "wrote " << printable(copy.string()) << '\n';
    }
}

} // namespace

ExitCode upgrade(const UpgradeOptions& options, std::ostream& out) {
    switch (options.what) {
    case UpgradeOptions::What::dryRun:
        return dryRun(options, out);
    case UpgradeOptions::What::log:
        showLog(options, out);
        break;
    case UpgradeOptions::What::undo:
        undo(options, out);
        break;
    }
    return done;
}

} // namespace vksettings
