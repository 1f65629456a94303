/// Folders for processes that start the library: three groups, and a preferences directory that is still to
/// be made.
#pragma once

#include "support/StartedTree.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

namespace settings::test {

struct Startup : testing::Test {
    Startup() {
        ::setenv("SETTINGS_FACTORYDIR", (base / "factory").c_str(), 1);
        ::setenv("SETTINGS_INSTALLATIONDIR", (base / "installation").c_str(), 1);
        ::unsetenv("SETTINGS_USERDIR");
        ::setenv("VARNEK_PREFDIR", (base / "prefs").c_str(), 1);
        std::filesystem::create_directories(base / "installation");
        define("editor");
        define("packages");
        define("shell");
    }
    void define(const std::string& group, const std::string& more = {}) const {
        const auto file = base / (group + ".vksettings");
        std::filesystem::remove(file);
        varnek::settings::FactoryFileGenerator::fromText(
            "{\"groupName\": \"" + group +
                "\", \"settings\": [{\"name\": \"x\", \"value\": 1}, {\"name\": \"y\", "
                "\"value\": 2}" +
                more + "]}",
            "test")
            .write(file);
        core::installFactoryFile(file, base / "factory", false);
    }
    static Handle root() { return core::detail::getSettingsRoot(core::DefaultRootIndex()); }
    TempFolder base;
};

} // namespace settings::test
