/// Folders for processes of one user that share groups: each has its own personal settings, all have the same
/// definitions and meet in one run-time folder.
#pragma once

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "settingscore/startup/init.hpp"
#include "support/OtherProcess.hpp"
#include "support/TempFolder.hpp"
#include "support/TestTree.hpp"
#include "support/Waiting.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace settings::test {

struct SharedPlace : testing::Test {
    SharedPlace() {
        std::filesystem::create_directories(base / "run");
        std::filesystem::permissions(base / "run", std::filesystem::perms::owner_all);
        define(R"({"groupName": "editor", "settings": [
                   {"name": "size", "value": 12}, {"name": "title", "value": "plain"},
                   {"name": "hidden", "value": 1, "visible": false},
                   {"name": "fixed", "value": 3, "readonly": true},
                   {"name": "none"},
                   {"name": "shortcut", "attributes": {"aliasName": "editor.font.family"}},
                   {"name": "elsewhere", "attributes": {"aliasName": "shell.x"}}],
                   "groups": [{"groupName": "font", "readonly": true,
                               "settings": [{"name": "family", "value": "mono"}]}]})");
        define(R"({"groupName": "shell", "settings": [{"name": "x", "value": 7},
                   {"name": "far", "attributes": {"aliasName": "editor.size"}}]})");
    }

    void define(const std::string& document) const {
        const auto file = base / "defined.vksettings";
        std::filesystem::remove(file);
        varnek::settings::FactoryFileGenerator::fromText(document, "test").write(file);
        core::installFactoryFile(file, base / "factory", false);
    }

    /// This process starts the library, with personal settings of its own.
    void start(const std::string& who) const {
        ::setenv("SETTINGS_FACTORYDIR", (base / "factory").c_str(), 1);
        ::setenv("SETTINGS_USERDIR", (base / ("user-" + who)).c_str(), 1);
        ::unsetenv("SETTINGS_INSTALLATIONDIR");
        ::setenv("XDG_RUNTIME_DIR", (base / "run").c_str(), 1);
        core::init();
    }
    static Handle root() { return core::detail::getSettingsRoot(core::DefaultRootIndex()); }

    /// What a process does that publishes groups.
    std::function<void()> publisher(std::string who, std::vector<std::string> groups = {"editor"},
                                    std::function<void()> prepare = {}) const {
        return [this, who = std::move(who), groups = std::move(groups), prepare = std::move(prepare)] {
            start(who);
            if (prepare)
                prepare();
            core::publishTopLevelGroups(groups);
        };
    }
    /// The group of another process.
    Handle attached(const std::string& group = "editor") const {
        core::attachRemoteGroups();
        EXPECT_TRUE(core::awaitRemoteGroups({group}, std::chrono::seconds(30)));
        return root()->getChild(group);
    }

    TempFolder base;
};

// ---- what tests ask the processes for ----

inline std::string step(const std::function<void()>& work) {
    work();
    return "";
}

inline const OtherProcess::Steps& steps() {
    static const OtherProcess::Steps all = {
        {"withdraw", [] { return step([] {
                              core::withdrawTopLevelGroups({"editor", "no such group"});
                          }); }},
        {"publish", [] { return step([] { core::publishTopLevelGroups({"editor"}); }); }},
        {"withdraw shell", [] { return step([] { core::withdrawTopLevelGroups({"shell"}); }); }},
        {"publish shell", [] { return step([] { core::publishTopLevelGroups({"shell"}); }); }},
        {"size 50",
         [] { return step([] { SharedPlace::root()->getChild("editor")->set("size", 50.0, "session"); }); }},
    };
    return all;
}

inline Array size() {
    return SharedPlace::root()->getChild("editor")->get("size");
}

inline bool isRemoteNow() {
    return core::isRemote(*SharedPlace::root()->getChild("editor"));
}

} // namespace settings::test
