// prefdir move: another folder for the personal settings, while the process runs.

#include "Changes.hpp"
#include "Commands.hpp"
#include "Printable.hpp"
#include "Shell.hpp"
#include "TargetFile.hpp"
#include "Tree.hpp"
#include "Words.hpp"

#include "opc/Limits.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/prefdir/PreferencesDirectoryReport.hpp"
#include "settingscore/startup/updatePrefdir.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/FileReplacement.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/Environment.hpp"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

namespace vksettings {

namespace {

using Path = std::filesystem::path;

Path currentDirectory() {
    return varnek::files::pathFromUtf16(settings::core::getPreferencesDirectoryUStr(false));
}

std::vector<Path> settingsFiles(const Path& folder) {
    return varnek::files::listFiles(folder, settings::core::Settings::settingsExtension);
}

/// The settings files, those from before an upgrade, and what the library notes about them.
bool isPersonal(const Path& file) {
    const std::string name = file.filename().native();
    if (name.ends_with(settings::core::Settings::settingsExtension) ||
        name.find(settings::core::Settings::settingsExtension + ".before-") != std::string::npos)
        return true;
    constexpr std::string_view notes[] = {"creation.timestamp", "prefdir.json", "migratePref.txt",
                                          "UserSettingsUpgrade.json", "NameDependencyModelResults.json"};
    return std::find(std::begin(notes), std::end(notes), name) != std::end(notes);
}

/// The same rule as for the variable VARNEK_PREFDIR.
Path requested(const std::string& directory) {
    if (const auto folder = varnek::host::environmentVariable("SETTINGS_USERDIR"); folder && !folder->empty())
        throw std::invalid_argument(
            "SETTINGS_USERDIR is set, and it decides where the personal settings are: " +
            varnek::files::messageUtf8(*folder));
    const Path path(directory);
    if (!path.is_absolute())
        throw std::invalid_argument("the new directory has to be an absolute path, \"" + directory +
                                    "\" is none");
    return path.lexically_normal();
}

/// The personal files in another folder; taken back unless they are kept.
class Copy {
  public:
    Copy(const Path& from, Path to) : to_(std::move(to)), isNew_(!std::filesystem::exists(to_)) {
        varnek::files::createFolders(to_);
        if (const auto there = settingsFiles(to_); !there.empty())
            throw std::runtime_error("\"" + to_.native() +
                                     "\" holds settings files already, for instance \"" +
                                     there.front().filename().native() +
                                     "\"; without --copy these are used, and nothing is copied");
        try {
            for (const Path& file : varnek::files::listFiles(from, ""))
                if (isPersonal(file) && !std::filesystem::exists(to_ / file.filename()))
                    add(file);
        } catch (...) {
            takeBack();
            throw;
        }
    }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;
    ~Copy() { takeBack(); }

    void keep() noexcept { isKept_ = true; }
    std::size_t settingsFileCount() const noexcept { return settingsFileCount_; }

  private:
    void add(const Path& file) {
        copied_.push_back(to_ / file.filename());
        varnek::files::copyFile(file, copied_.back(), opc::limits::archiveBytes);
        if (file.extension() == settings::core::Settings::settingsExtension)
            ++settingsFileCount_;
    }
    void takeBack() noexcept {
        if (isKept_)
            return;
        std::error_code ignored; // the failure that led here is the one to be told
        for (const Path& file : copied_)
            std::filesystem::remove(file, ignored);
        if (isNew_)
            std::filesystem::remove(to_, ignored);
        isKept_ = true;
    }

    const Path to_;
    const bool isNew_;
    bool isKept_ = false;
    std::vector<Path> copied_;
    std::size_t settingsFileCount_ = 0;
};

} // namespace

void movePrefdir(const MoveOptions& options, std::ostream& out) {
    const Path to = requested(options.directory);
    for (const Handle& group : root()->getChildren())
        canBeLoaded(group); // nobody can tell what changes in a group that nobody has read
    const Path from = currentDirectory();
    if (to == from)
        throw std::invalid_argument("\"" + to.native() + "\" is the preferences directory already");
    settings::core::waitForSettingsSaves();
    std::size_t copied = 0;
    {
        std::optional<Copy> copy;
        if (options.copy)
            copy.emplace(from, to);
        const PrintedChanges changes(out);
        if (!settings::core::updatePrefdir(to.native()))
            throw std::system_error(std::make_error_code(std::errc::io_error),
                                    "\"" + to.native() +
                                        "\" cannot be used as preferences directory, and \"" + from.native() +
                                        "\" stays in use");
        if (copy) {
            copy->keep();
            copied = copy->settingsFileCount();
        }
    }
    out << "from " << printable(from.native()) << '\n' << "to   " << printable(to.native()) << '\n';
    if (options.copy)
        out << "copied " << counted(copied, "settings file") << '\n';
    if (!isInShell())
        out << "This lasts for one command. For all that follow:\n"
            << "  export VARNEK_PREFDIR=" << printable(quotedWord(to.native())) << '\n';
}

} // namespace vksettings
