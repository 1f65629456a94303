#include "settingscore/settings/upgrade/LogFileAccess.hpp"

#include "opc/Limits.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/FileLog.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/settingsFile.hpp"
#include "settingscore/settings/upgrade/ResultsJson.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/FolderLock.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <unistd.h>

namespace settings::core::detail {

namespace json = varnek::json;

namespace {

constexpr std::size_t keptPerGroup = 20;

/// An empty object for a log that is not there, or is none: it is no loss that is worth an error.
json::Object present(const std::filesystem::path& log) {
    try {
        return json::parseObject(varnek::files::readFile(log, opc::limits::partBytes));
    } catch (const varnek::files::FileError& failure) {
        if (failure.kind() != varnek::files::FileErrorKind::notFound)
            throw;
    } catch (const json::ParseError& failure) {
        VARNEK_LOG(fileLog, warning) << log.string() << ": " << failure.what();
    }
    return {};
}

} // namespace

std::filesystem::path resultsLogOf(const std::filesystem::path& folder, std::string_view resultType) {
    return folder / (std::string(resultType) + ".json");
}

LogFileAccess::LogFileAccess(const std::filesystem::path& folder, std::string group,
                             ReleaseCompatibilityResults results, VersionLabel target)
    : SettingsFileAccess(resultsLogOf(folder, results.resultType)), group_(std::move(group)),
      results_(std::move(results)), target_(std::move(target)) {}

bool LogFileAccess::checkBeforeSaving() {
    if (::access(filePath().parent_path().c_str(), W_OK | X_OK) == 0)
        return true;
    setOutcome(SaveOutcome::notWritable);
    return false;
}

std::optional<std::string> LogFileAccess::content() {
    json::Object log = present(filePath());
    const std::string key = encodedName(group_);
    const json::Value* before = log.find(key);
    json::Array runs = before != nullptr && before->isArray() ? before->asArray() : json::Array();
    json::Value added = writeResults(results_);
    if (!runs.empty() && runs[runs.size() - 1] == added) {
        setOutcome(SaveOutcome::unchanged);
        return std::nullopt;
    }
    json::Array kept;
    for (std::size_t i = runs.size() < keptPerGroup ? 0 : runs.size() + 1 - keptPerGroup; i < runs.size();
         ++i)
        kept.push_back(runs[i]);
    kept.push_back(std::move(added));
    log.set(key, std::move(kept));
    return json::writeIndented(std::move(log)) + "\n";
}

std::string LogFileAccess::description() const {
    return "Saving log of results for: " + group_ + "Target version: " + target_.utf8();
}

void logReleaseCompatResults(const std::filesystem::path& folder, const std::string& group,
                             const ReleaseCompatibilityResults& results,
                             const VersionLabel& target) noexcept {
    if (results.isEmpty())
        return;
    try {
        // Without the lock at worst another process's results are missing in the log.
        const varnek::files::FolderLock othersOut(folder, std::chrono::milliseconds(500));
        LogFileAccess access(folder, group, results, target);
        VARNEK_LOG(fileLog, info) << access.description();
        saveSettingsFile(access);
    } catch (...) {
        logCaught(causeOfCurrentException(), folder);
    }
}

std::map<std::string, std::vector<ReleaseCompatibilityResults>>
readResultsLog(const std::filesystem::path& log) {
    std::map<std::string, std::vector<ReleaseCompatibilityResults>> all;
    for (const json::Member& member : present(log)) {
        const json::Array* runs = member.value.ifArray();
        for (std::size_t i = 0; runs != nullptr && i < runs->size(); ++i)
            all[decodedName(member.key.view())].push_back(readResults((*runs)[i]));
    }
    return all;
}

} // namespace settings::core::detail
