// prefdir: where the personal settings are, and why there.

#include "Commands.hpp"
#include "Printable.hpp"

#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/prefdir/PreferencesDirectoryReport.hpp"
#include "varnek/files/PathText.hpp"
#include "json/Writer.hpp"

#include <stdexcept>

namespace vksettings {

namespace json = varnek::json;
using settings::core::InvalidPrefdir;
using settings::core::InvalidPrefdirKind;
using settings::core::PreferencesDirectoryFill;
using settings::core::PreferencesDirectoryOrigin;
using settings::core::PreferencesDirectoryReport;

namespace {

const char* inWords(PreferencesDirectoryOrigin origin) {
    switch (origin) {
    case PreferencesDirectoryOrigin::userFolderVariable:
        return "SETTINGS_USERDIR";
    case PreferencesDirectoryOrigin::blessed:
        return "the application's choice";
    case PreferencesDirectoryOrigin::variable:
        return "VARNEK_PREFDIR";
    case PreferencesDirectoryOrigin::standard:
        return "the standard directory";
    case PreferencesDirectoryOrigin::temporary:
        return "a temporary folder, for this process only";
    case PreferencesDirectoryOrigin::setByHost:
        return "the application";
    }
    return "";
}

const char* inWords(InvalidPrefdirKind kind) {
    switch (kind) {
    case InvalidPrefdirKind::notWritable:
        return "cannot be made or written";
    case InvalidPrefdirKind::notReadable:
        return "cannot be read";
    case InvalidPrefdirKind::notTestable:
        return "cannot be looked for";
    }
    return "";
}

const char* yesOrNo(bool is) {
    return is ? "yes" : "no";
}

json::Array texts(const std::vector<std::string>& names) {
    json::Array array;
    for (const std::string& name : names)
        array.push_back(jsonText(name));
    return array;
}

json::Value asJson(const PreferencesDirectoryFill::Source& source) {
    json::Object object;
    object.set("release", source.release);
    object.set("directory", source.directory);
    object.set("files", texts(source.files));
    object.set("skipped", texts(source.skipped));
    return object;
}

json::Value asJson(const PreferencesDirectoryReport& report) {
    json::Object object;
    object.set("path", report.path);
    object.set("origin", settings::core::originName(report.origin));
    object.set("readable", report.isReadable);
    object.set("writable", report.isWritable);
    object.set("marked", report.hasMigrationMarker);
    object.set("createdBy", report.fill ? json::Value(report.fill->createdBy) : json::Value());
    object.set("created", report.fill ? json::Value(report.fill->created) : json::Value());
    object.set("filledFrom",
               report.fill && report.fill->source ? asJson(*report.fill->source) : json::Value());
    json::Array findings;
    for (const InvalidPrefdir& finding : report.findings) {
        json::Object found;
        found.set("kind", static_cast<int>(finding.kind));
        found.set("path", finding.path);
        findings.push_back(std::move(found));
    }
    object.set("findings", std::move(findings));
    json::Value& temporary = object.set("temporary", nullptr);
    if (!report.tempMessage.identifier.empty()) {
        json::Object message;
        message.set("identifier", report.tempMessage.identifier);
        message.set("message", report.tempMessage.text);
        temporary = std::move(message);
    }
    return object;
}

/// "R2024b, 3 files of /home/..."
std::string inWords(const PreferencesDirectoryFill::Source& source) {
    return source.release + ", " + counted(source.files.size(), "file") + " of " +
           varnek::files::pathFromUtf16(source.directory).native() +
           (source.skipped.empty() ? "" : ", " + std::to_string(source.skipped.size()) + " left out");
}

/// Without a folder for personal settings no program goes on: refused, whatever the cause.
PreferencesDirectoryReport found() {
    try {
        return settings::core::describePreferencesDirectory();
    } catch (const settings::core::exception::RelativePreferencePathNotSupported& failure) {
        throw std::runtime_error(failure.getErrorMessage());
    } catch (const settings::core::EarlierReleaseNotReadable& failure) {
        throw std::runtime_error(failure.getErrorMessage());
    } catch (const std::exception& failure) {
        throw std::runtime_error(failure.what());
    }
}

} // namespace

void prefdir(const PrefdirOptions& options, std::ostream& out) {
    const PreferencesDirectoryReport report = found();
    if (options.json) {
        out << json::writeIndented(asJson(report)) << '\n';
        return;
    }
    out << printable(varnek::files::pathFromUtf16(report.path).native()) << '\n'
        << "  from:        " << inWords(report.origin) << '\n'
        << "  readable:    " << yesOrNo(report.isReadable) << '\n'
        << "  writable:    " << yesOrNo(report.isWritable) << '\n';
    if (report.fill) {
        out << "  created:     " << printable(report.fill->created + " by " + report.fill->createdBy) << '\n'
            << "  filled from: "
            << (report.fill->source ? printable(inWords(*report.fill->source)) : "no earlier release")
            << '\n';
    }
    for (const InvalidPrefdir& finding : report.findings)
        out << "  finding:     " << printable(varnek::files::pathFromUtf16(finding.path).native()) << ' '
            << inWords(finding.kind) << '\n';
    if (!report.tempMessage.identifier.empty())
        out << "  " << printable(varnek::files::messageUtf8(report.tempMessage.text)) << '\n';
}

} // namespace vksettings
