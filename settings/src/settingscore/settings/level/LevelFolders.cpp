#include "settingscore/settings/level/LevelFolders.hpp"

#include "settingscore/level/SettingsLevelManager.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/Environment.hpp"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace settings::core::detail {

namespace {

std::mutex functionsMutex; // rank "level functions"; guards functions()

LevelFolders& functions() {
    static auto* const installed = new LevelFolders; // outlives every thread
    return *installed;
}

/// What a variable says. A relative path is taken from the folder that the process is in when it is first
/// asked for, and leads there ever after: where the process goes later is no matter of its settings.
std::u16string fixedPath(const std::u16string& value) {
    const auto path = varnek::files::pathFromUtf16(value);
    if (path.is_absolute())
        return value;
    static auto& known = *new std::map<std::u16string, std::u16string>; // outlives every thread
    std::error_code failure;
    const auto absolute = std::filesystem::absolute(path, failure);
    const std::lock_guard lock(functionsMutex);
    return known.try_emplace(value, failure ? value : varnek::files::utf16FromPath(absolute)).first->second;
}

/// The variable when it is not empty, else what the function gives.
std::u16string folder(std::string_view variable, FolderFunction LevelFolders::*function) {
    if (const auto value = varnek::host::environmentVariable(variable); value && !value->empty())
        return fixedPath(*value);
    FolderFunction fallback;
    {
        const std::lock_guard lock(functionsMutex);
        fallback = functions().*function;
    }
    return fallback ? fallback() : std::u16string();
}

/// Without control characters, which paths may hold. Quotes stay: they are those of the message.
std::string printable(std::string_view text) {
    std::string shown;
    for (;;) {
        const std::size_t end = text.find('"');
        shown += varnek::files::shownName(text.substr(0, end));
        if (end == std::string_view::npos)
            return shown;
        shown += '"';
        text.remove_prefix(end + 1);
    }
}

[[noreturn]] void endProcess(std::string_view why) {
    std::fprintf(stderr, "%s \n", printable(why).c_str());
    std::fflush(stderr);
    std::_Exit(1);
}

} // namespace

void installLevelFolders(LevelFolders folders) {
    const std::lock_guard lock(functionsMutex);
    functions() = std::move(folders);
}

LevelFolders setLevelFolders(LevelFolders folders) {
    LevelFolders before;
    {
        const std::lock_guard lock(functionsMutex);
        before = std::exchange(functions(), std::move(folders));
    }
    forgetLevelFolders();
    return before;
}

void forgetLevelFolders() {
    for (const SettingsLevel& level : SettingsLevelManager::getSettingsLevelObjs())
        level.forgetRootPath();
}

std::u16string userFolder() {
    try {
        std::u16string found = folder("SETTINGS_USERDIR", &LevelFolders::user);
        if (found.empty())
            throw std::runtime_error(
                "There is no folder for personal settings: SETTINGS_USERDIR is not set.");
        return found;
    } catch (const std::exception& failure) {
        endProcess(failure.what());
    } catch (...) {
        endProcess("There is no folder for personal settings.");
    }
}

std::u16string installationFolder() {
    return folder("SETTINGS_INSTALLATIONDIR", &LevelFolders::installation);
}

std::u16string factoryFolder() {
    return folder("SETTINGS_FACTORYDIR", &LevelFolders::factory);
}

std::u16string workgroupFolder() {
    return folder("SETTINGS_WORKGROUPDIR", &LevelFolders::workgroup);
}

} // namespace settings::core::detail
