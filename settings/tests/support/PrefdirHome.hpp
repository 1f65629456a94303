/// A home folder of its own for tests of the preferences directory, and other processes to look at it.
#pragma once

#include "support/Children.hpp"
#include "support/TempFolder.hpp"

#include "settingscore/settings/level/LevelFolders.hpp"
#include "settingscore/settings/settingsPathUtil.hpp"
#include "varnek/files/PathText.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

namespace settings::test {

/// The names of a new directory that was given these files.
inline std::vector<std::string> withOwnFiles(std::vector<std::string> names) {
    names.insert(names.end(), {"creation.timestamp", "migratePref.txt", "prefdir.json"});
    std::sort(names.begin(), names.end());
    return names;
}

/// The process is as at its start, in a home folder that is empty and open to everybody; at the end the
/// variables are as they were.
class PrefdirHome : public testing::Test {
  protected:
    PrefdirHome() {
        for (const char* name : {"SETTINGS_USERDIR", "VARNEK_PREFDIR", "DISABLE_PREFCOPY3RELEASES",
                                 "XDG_CONFIG_HOME", "XDG_STATE_HOME", "TMPDIR"})
            set(name, std::nullopt);
        std::filesystem::create_directory(home);
        std::filesystem::create_directory(folder / "tmp");
        for (const auto& open : {folder.path(), home, folder / "tmp"})
            std::filesystem::permissions(open, std::filesystem::perms::all);
        set("HOME", home);
        set("TMPDIR", folder / "tmp");
        start();
    }
    ~PrefdirHome() override {
        for (const auto& [name, value] : before_)
            put(name, value);
        start();
    }

    /// Nothing is known any more, as in a new process.
    static void start() {
        core::detail::forgetPreferencesDirectory();
        core::detail::forgetLevelFolders();
    }
    void set(const std::string& name, const std::optional<std::string>& value) {
        const char* old = std::getenv(name.c_str());
        before_.try_emplace(name, old != nullptr ? std::optional<std::string>(old) : std::nullopt);
        put(name, value);
    }

    std::filesystem::path standard(const std::string& release = "R2025a") const {
        return home / ".config/Quillfern/VARNEK" / release;
    }
    /// A directory of an earlier release with files that hold their own names.
    static void makeRelease(const std::filesystem::path& directory, const std::vector<std::string>& files) {
        std::filesystem::create_directories(directory);
        for (const std::string& file : files)
            writeBytes(directory / file, file);
    }
    static std::u16string text(const std::filesystem::path& path) {
        return varnek::files::utf16FromPath(path);
    }
    static unsigned modeOf(const std::filesystem::path& path) {
        struct stat status {};
        return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    TempFolder folder{quickPlace()};
    std::filesystem::path home = folder / "home";

  private:
    static void put(const std::string& name, const std::optional<std::string>& value) {
        if (value)
            ::setenv(name.c_str(), value->c_str(), 1);
        else
            ::unsetenv(name.c_str());
    }

    std::map<std::string, std::optional<std::string>> before_;
};

} // namespace settings::test
