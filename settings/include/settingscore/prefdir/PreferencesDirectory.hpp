/// The preferences directory: the folder, per user and release, of the personal settings files.
///
/// It is found once per process, on first use. In order: the directory that the host has blessed, the
/// variable VARNEK_PREFDIR, the standard directory "<user's configuration
/// folder>/Quillfern/VARNEK/<release>". One that is not there yet is made, stamped and filled from the newest
/// earlier release that has one; other processes see it with everything in it or not at all. One that is
/// there is taken as it is. When it cannot be made, a temporary folder takes its place for this process, and
/// getTempMessage() tells why. See docs/preferences-directory.md.
///
/// Texts are UTF-16, paths as in varnek/files/PathText.hpp, without a separator at the end. All functions are
/// thread-safe. They read and write the state of the process under one lock, which is not held while the disk
/// is used: callers that need the directory while another thread finds it wait for that thread. What
/// there is to log is logged afterwards, so that log sinks may ask for the directory; one that asks on the
/// same thread where none was found gets std::logic_error.
///
/// Errors of whatever finds the directory: exception::RelativePreferencePathNotSupported;
/// varnek::host::HostError when the user has no home folder; of VARNEK::settings::core
/// ErrorCreatePreferenceDirectoryTimeStamp, ErrorCopyFileInPrefDir and ErrorOverwriteFileInPrefDir (a file of
/// the earlier release), EarlierReleaseNotReadable (its folder);
/// varnek::files::FileError when there is no room for a temporary folder either. Nothing has been made then,
/// and the next call tries again.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/exception/FileFailures.hpp"

#include <string>
#include <string_view>

namespace settings::core {

/// setPreferencesDirectoryUStr was called in a process that has not enabled it.
class SETTINGSCORE_EXPORT OverridingPreferencesDirectoryNotSupported
    : public exception::Cloneable<OverridingPreferencesDirectoryNotSupported, exception::SettingsException> {
  public:
    ~OverridingPreferencesDirectoryNotSupported() override;
    /// "Overriding the default preferences directory path not supported in this configuration."
    const char* what() const noexcept override;
};

/// Whether there is a folder of an earlier release cannot be told, or it cannot be listed.
class SETTINGSCORE_EXPORT EarlierReleaseNotReadable
    : public exception::Cloneable<EarlierReleaseNotReadable, exception::ErrorMigratePrefsBetweenReleases> {
  public:
    EarlierReleaseNotReadable(std::string prevFullRelTag, std::string currFullRelTag,
                              const std::string& detail);
    ~EarlierReleaseNotReadable() override;
    /// That of what(), then the folder and the cause. UTF-8.
    std::string getErrorMessage() const { return *errorMessage_; }

  private:
    core::exception::SharedField<std::string> errorMessage_;
};

/// The directory in use; finds it when that is due. With `mustExist`, one that has been found before and is
/// gone by now raises VARNEK::settings::core::PreferenceDirectoryNotExist.
SETTINGSCORE_EXPORT std::u16string getPreferencesDirectoryUStr(bool mustExist = true);

/// The directory that was found by the rules above, also when another one is in use since.
SETTINGSCORE_EXPORT std::u16string getDefaultPreferencesDirectoryUStr();

/// Uses another directory from now on; it is neither made nor filled, and values that were read stay. Throws
/// OverridingPreferencesDirectoryNotSupported unless it is enabled, then RelativePreferencePathNotSupported.
SETTINGSCORE_EXPORT void setPreferencesDirectoryUStr(const std::u16string& path);
/// False at the start of the process.
SETTINGSCORE_EXPORT void setPreferencesDirectoryUStrEnabled(bool isEnabled);

/// The directory that is to be used when none has been found yet; later calls change nothing. Empty: the
/// rules decide. Throws RelativePreferencePathNotSupported.
SETTINGSCORE_EXPORT void setBlessedPreferencesDirectoryUStr(const std::u16string& path);

/// "<varnekDefaultPrefDirPrefixUStr>/<varnekDefaultPrefDirSuffixUStr>" of this release. Not created.
SETTINGSCORE_EXPORT std::u16string getStandardPreferencesDirectoryUStr();
/// Beside the directory in use the one of the release before ("R2024b").
SETTINGSCORE_EXPORT std::u16string getPreviousPreferencesDirectoryUStr();
/// The same, or what setUnitTestPreviousPrefDir has put in its place.
SETTINGSCORE_EXPORT std::u16string getPreviousPreferencesDirectoryUStrAccountingForUnitTests();
/// For self-checks of the host: what stands for the directory of the release before. Empty: the rule.
SETTINGSCORE_EXPORT void setUnitTestPreviousPrefDir(const std::u16string& path);

/// For data of this release that stay on this machine:
/// "<varnekLocalSettingsDirPrefixUStr>/<varnekDefaultPrefDirSuffixUStr>". Not created.
SETTINGSCORE_EXPORT std::u16string getLocalSettingsDirectoryUStr();
/// $XDG_STATE_HOME, else "~/.local/state". Throws varnek::host::HostError.
SETTINGSCORE_EXPORT std::u16string varnekLocalSettingsDirPrefixUStr();
/// $XDG_CONFIG_HOME, else "~/.config", whatever the release. Throws varnek::host::HostError.
SETTINGSCORE_EXPORT std::u16string varnekDefaultPrefDirPrefixUStr(std::u16string_view release);
/// "Quillfern/VARNEK/<release>". std::invalid_argument unless it is "R", a year of four digits, "a" or "b".
SETTINGSCORE_EXPORT std::u16string varnekDefaultPrefDirSuffixUStr(std::u16string_view release);

/// The folder of the installation, below which plug-ins are looked for (plugin/InstallationRoot.hpp).
SETTINGSCORE_EXPORT std::u16string varnekRootUStr();
/// Says where that is; empty: where this library says. std::invalid_argument for a relative path.
SETTINGSCORE_EXPORT void setInstallationDirectoryUStr(const std::u16string& path);

/// "creation.timestamp": the file with the time at which the directory was made.
SETTINGSCORE_EXPORT std::u16string getTimestampFileNameUStr();

/// Removes one separator at the end; the root folder "/" stays.
SETTINGSCORE_EXPORT std::u16string stripFinalPathNameSepUStr(const std::u16string& path);
SETTINGSCORE_EXPORT std::string StripFinalPathNameSep(const std::string& path);

/// Why a temporary folder is in use.
struct TempMessage {
    std::string identifier; ///< of the message ("VARNEK:settings:prefdir:SystemError"); empty: none is in use
    std::u16string text;

    bool operator==(const TempMessage&) const = default;
};

/// Of the directory that was found; does not find it.
SETTINGSCORE_EXPORT TempMessage getTempMessage();

} // namespace settings::core
