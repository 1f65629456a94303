// The public functions of the preferences directory, and the state that they share.

#include "settingscore/settings/settingsPathUtil.hpp"

#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/plugin/InstallationRoot.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"
#include "settingscore/settings/prefdir/FillRecord.hpp"
#include "settingscore/settings/prefdir/PrefdirLog.hpp"
#include "settingscore/settings/prefdir/PrefdirPaths.hpp"
#include "settingscore/settings/prefdir/PrefdirResolution.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/Environment.hpp"
#include "varnek/host/Folders.hpp"

#include <cerrno>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace settings::core {

namespace files = varnek::files;
using detail::PrefdirWishes;
using detail::ResolvedPrefdir;
using varnek::release::ReleaseLabel;

namespace {

/// Never destroyed: threads may still ask for the directory while the process ends.
struct State {
    std::mutex finding; // rank "finding the preferences directory": held while the disk is used
    std::shared_mutex mutex;
    // Guarded by `mutex`; the directory in use is empty until it is found or set.
    std::u16string current;
    PreferencesDirectoryOrigin origin = PreferencesDirectoryOrigin::standard;
    std::optional<ResolvedPrefdir> found;
    PrefdirWishes wishes;
    bool isOverridingEnabled = false;
    std::u16string pending; // the directory to which the process is moving; empty: to none
};

State& state() {
    static auto* const only = new State;
    return *only;
}

/// A copy of something in the state.
template <class Read>
auto read(Read what) {
    const std::shared_lock lock(state().mutex);
    return what(std::as_const(state()));
}

template <class Change>
void change(Change how) {
    const std::unique_lock lock(state().mutex);
    how(state());
}

/// Set while this thread finds the directory.
thread_local bool isFindingHere = false;

struct FindingHere {
    FindingHere() { isFindingHere = true; }
    ~FindingHere() { isFindingHere = false; }
};

ResolvedPrefdir found() {
    const auto before = [] { return read([](const State& s) { return s.found; }); };
    if (auto known = before())
        return *std::move(known);
    if (isFindingHere)
        throw std::logic_error("the preferences directory was asked for while it is being found");
    const FindingHere here;
    const detail::HeldLines log; // written without the lock, but before a sink on this thread could try again
    const std::lock_guard lock(state().finding);
    if (auto known = before())
        return *std::move(known);
    ResolvedPrefdir result =
        detail::resolvePreferencesDirectory(read([](const State& s) { return s.wishes; }));
    change([&](State& s) {
        s.found = result;
        if (s.current.empty()) {
            s.current = files::utf16FromPath(result.directory);
            s.origin = result.origin;
        }
    });
    return result;
}

ReleaseLabel release(std::u16string_view name) {
    if (const auto label = ReleaseLabel::parse(name))
        return *label;
    throw std::invalid_argument("\"" + files::messageUtf8(name) + "\" is no name of a release");
}

template <class Text>
Text withoutFinalSeparator(Text path) {
    if (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

void throwIfGone(const std::u16string& path) {
    std::error_code error;
    const auto directory = files::pathFromUtf16(path);
    if (std::filesystem::is_directory(directory, error))
        return;
    if (!error)
        error = std::make_error_code(std::errc::not_a_directory);
    throw VARNEK::settings::core::PreferenceDirectoryNotExist(files::shownName(directory.native()),
                                                              error.message());
}

} // namespace

OverridingPreferencesDirectoryNotSupported::~OverridingPreferencesDirectoryNotSupported() = default;

const char* OverridingPreferencesDirectoryNotSupported::what() const noexcept {
    return "Overriding the default preferences directory path not supported in this configuration.";
}

EarlierReleaseNotReadable::EarlierReleaseNotReadable(std::string prevFullRelTag, std::string currFullRelTag,
                                                     const std::string& detail)
    : Cloneable(std::move(prevFullRelTag), std::move(currFullRelTag)),
      errorMessage_(ErrorMigratePrefsBetweenReleases::what() + (" " + detail)) {}
EarlierReleaseNotReadable::~EarlierReleaseNotReadable() = default;

std::u16string getPreferencesDirectoryUStr(bool mustExist) {
    const auto current = [] { return read([](const State& s) { return s.current; }); };
    if (const std::u16string known = current(); !known.empty()) {
        if (mustExist)
            throwIfGone(known);
        return known;
    }
    found();
    return current();
}

std::u16string getDefaultPreferencesDirectoryUStr() {
    return files::utf16FromPath(found().directory);
}

void setPreferencesDirectoryUStr(const std::u16string& path) {
    if (!read([](const State& s) { return s.isOverridingEnabled; }))
        throw OverridingPreferencesDirectoryNotSupported();
    std::u16string directory = files::utf16FromPath(detail::absoluteDirectory(path));
    change([&](State& s) {
        s.current = std::move(directory);
        s.origin = PreferencesDirectoryOrigin::setByHost;
    });
}

void detail::requireIfPreferencesDirectory(const std::filesystem::path& folder) {
    const std::u16string known = read([](const State& s) { return s.current; });
    if (!known.empty() && files::pathFromUtf16(known) == folder)
        throwIfGone(known);
}

void setPreferencesDirectoryUStrEnabled(bool isEnabled) {
    change([&](State& s) { s.isOverridingEnabled = isEnabled; });
}

void setBlessedPreferencesDirectoryUStr(const std::u16string& path) {
    if (!path.empty())
        detail::absoluteDirectory(path);
    change([&](State& s) { s.wishes.blessed = path; });
}

std::u16string getStandardPreferencesDirectoryUStr() {
    return files::utf16FromPath(detail::standardDirectory(detail::currentRelease()));
}

std::u16string getPreviousPreferencesDirectoryUStr() {
    return files::utf16FromPath(
        detail::previousDirectory(files::pathFromUtf16(getPreferencesDirectoryUStr(false))));
}

std::u16string getPreviousPreferencesDirectoryUStrAccountingForUnitTests() {
    std::u16string set = read([](const State& s) { return s.wishes.previousDirectory; });
    return set.empty() ? getPreviousPreferencesDirectoryUStr() : set;
}

void setUnitTestPreviousPrefDir(const std::u16string& path) {
    const auto directory = path.empty() ? std::filesystem::path() : detail::absoluteDirectory(path);
    change([&](State& s) { s.wishes.previousDirectory = files::utf16FromPath(directory); });
}

std::u16string getLocalSettingsDirectoryUStr() {
    return files::utf16FromPath(varnek::host::userStateFolder() /
                                detail::standardSuffix(detail::currentRelease()));
}

std::u16string varnekLocalSettingsDirPrefixUStr() {
    return files::utf16FromPath(varnek::host::userStateFolder());
}

std::u16string varnekDefaultPrefDirPrefixUStr(std::u16string_view releaseName) {
    release(releaseName);
    return files::utf16FromPath(varnek::host::userConfigFolder());
}

std::u16string varnekDefaultPrefDirSuffixUStr(std::u16string_view releaseName) {
    return files::utf16FromPath(detail::standardSuffix(release(releaseName)));
}

std::u16string varnekRootUStr() {
    return files::utf16FromPath(installationRoot());
}

void setInstallationDirectoryUStr(const std::u16string& path) {
    const auto folder = files::pathFromUtf16(path);
    if (!folder.empty() && !folder.is_absolute())
        throw std::invalid_argument("the installation directory \"" + files::shownName(folder.native()) +
                                    "\" is no absolute path");
    setInstallationRoot(folder.empty() ? InstallationRootFunction() : [folder] { return folder; });
}

std::u16string getTimestampFileNameUStr() {
    return u"creation.timestamp";
}

std::u16string stripFinalPathNameSepUStr(const std::u16string& path) {
    return withoutFinalSeparator(path);
}

std::string StripFinalPathNameSep(const std::string& path) {
    return withoutFinalSeparator(path);
}

TempMessage getTempMessage() {
    return read([](const State& s) { return s.found ? s.found->tempMessage : TempMessage(); });
}

std::string_view originName(PreferencesDirectoryOrigin origin) noexcept {
    constexpr std::string_view names[] = {"SETTINGS_USERDIR", "blessed",   "VARNEK_PREFDIR",
                                          "standard",         "temporary", "host"};
    return names[static_cast<std::size_t>(origin)];
}

PreferencesDirectoryReport describePreferencesDirectory() {
    PreferencesDirectoryReport report;
    if (auto given = varnek::host::environmentVariable("SETTINGS_USERDIR"); given && !given->empty()) {
        report.path = detail::userFolder();
        report.origin = PreferencesDirectoryOrigin::userFolderVariable;
    } else {
        report.path = getPreferencesDirectoryUStr(false);
        read([&](const State& s) {
            report.origin = s.origin;
            if (s.found && s.origin != PreferencesDirectoryOrigin::setByHost) {
                report.findings = s.found->findings;
                report.tempMessage = s.found->tempMessage;
            }
            return 0;
        });
    }
    const auto directory = files::pathFromUtf16(report.path);
    report.isReadable = detail::isReadableDirectory(directory);
    report.isWritable = detail::isWritableDirectory(directory);
    report.hasMigrationMarker = detail::hasMigrationMarker(directory);
    report.fill = detail::readFillRecord(directory);
    return report;
}

namespace detail {

PendingPreferencesDirectory::PendingPreferencesDirectory(std::u16string directory) {
    change([&](State& s) {
        s.pending = std::move(directory);
        wasEnabled_ = std::exchange(s.isOverridingEnabled, true);
    });
}

PendingPreferencesDirectory::~PendingPreferencesDirectory() {
    change([&](State& s) {
        s.pending.clear();
        s.isOverridingEnabled = wasEnabled_;
    });
}

void forgetPreferencesDirectory() {
    const std::lock_guard lock(state().finding);
    std::optional<ResolvedPrefdir> before; // its folder is removed after the lock
    change([&](State& s) {
        before = std::exchange(s.found, std::nullopt);
        s.current.clear();
        s.wishes = {};
        s.isOverridingEnabled = false;
    });
}

} // namespace detail
} // namespace settings::core
