// Toolboxes in real bundle libraries below an installation. Each case runs in a process of its own, since a
// process starts the bundles once.

#include "support/Children.hpp"
#include "support/LogLines.hpp"
#include "support/TempFolder.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/plugin/InstallationRoot.hpp"
#include "settingscore/root/ToolboxGroups.hpp"
#include "varnek/data/Array.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>

namespace {

using namespace settings::core;
using settings::test::LogLines;
using Lines = std::vector<std::string>;
namespace fs = std::filesystem;

struct ToolboxBundles : testing::Test {
    ToolboxBundles() { fs::create_directories(base / "files"); }

    /// The library below the installation, with the manifest of that bundle; empty: without.
    fs::path install(const std::string& folder, const fs::path& library, const std::string& bundle) {
        const fs::path to = base / "bin/linux64" / folder / ("lib" + bundle + ".so");
        fs::create_directories(to.parent_path());
        fs::copy_file(library, to);
        fs::permissions(to, fs::perms(0755));
        std::ofstream(to.native() + ".json")
            << "{\"bundle.symbolic_name\": \"" << bundle << "\", \"bundle.activator\": true}";
        return to;
    }
    void define(const std::string& group) {
        varnek::settings::FactoryFileGenerator::fromText(
            "{\"groupName\": \"" + group + "\", \"settings\": [{\"name\": \"x\", \"value\": 5}]}", "test")
            .write(base / "files" / (group + ".vksettings"));
    }
    /// Runs `body` in a process that uses the installation, and reports what it expects in vain.
    void inAProcess(const std::function<void()>& body) {
        settings::test::inAnotherProcess([&] {
            for (const char* variable : {"SETTINGS_FACTORYDIR", "SETTINGS_INSTALLATIONDIR", "LOADED_FILES"})
                ::setenv(variable, (base / "files").c_str(), 1);
            ::setenv("SETTINGS_USERDIR", (base / "user").c_str(), 1);
            ::unsetenv("STARTED_BUNDLES");
            setInstallationRoot([this] { return base.path(); });
            body();
        });
    }

    static boost::shared_ptr<Settings> root() { return detail::getSettingsRoot(DefaultRootIndex()); }
    static std::string started() {
        const char* names = std::getenv("STARTED_BUNDLES");
        return names == nullptr ? "" : names;
    }
    static std::string groups() {
        std::string names;
        for (const auto& group : root()->getChildren())
            names += group->getName() + (group->isVisible() ? " " : "(hidden) ");
        return names;
    }
    /// The messages about a file or toolbox, as one text.
    static std::string problemOf(const std::string& file) {
        std::string messages;
        for (const auto& problem : detail::getLoadProblems(DefaultRootIndex()))
            if (problem.file == file)
                messages += problem.message;
        return messages;
    }
    static bool has(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }

    settings::test::TempFolder base;
};

TEST_F(ToolboxBundles, TheExampleDefinesAndChecks) {
    install("factory_settings/session", EXAMPLE_TOOLBOX, "example_telemetry");
    inAProcess([] {
        const auto tree = root();
        EXPECT_EQ("telemetry ", groups());
        EXPECT_EQ(ToolboxSource::service, getToolboxGroups(DefaultRootIndex()).front().source);
        EXPECT_FALSE(getToolboxGroups(DefaultRootIndex()).front().isLoaded);
        EXPECT_EQ(1024.0, tree->getByFullName<double>("telemetry.buffer.samples"));
        const auto buffer = tree->getChild("telemetry")->getChild("buffer");
        buffer->set("samples", 512.0, "session");
        EXPECT_ANY_THROW(buffer->set("samples", 1000.0, "session"));
        EXPECT_EQ(512.0, buffer->get<double>("samples"));
        EXPECT_ANY_THROW(tree->getChild("telemetry")->set("interval", 0.0, "session"));
        EXPECT_EQ(u"/var/tmp/telemetry", tree->getByFullName<std::u16string>("telemetry.folder"));
        EXPECT_TRUE(detail::getLoadProblems(DefaultRootIndex()).empty());
    });
}

TEST_F(ToolboxBundles, FoldersAreStartedInTheirOrderAndOnce) {
    install("factory_settings_plugins", TOOLBOX_BUNDLES, "fourth");
    install("factory_settings/session", TOOLBOX_BUNDLES, "third");
    install("factory_settings/compute", TOOLBOX_BUNDLES, "second");
    install("factory_settings_test", TOOLBOX_BUNDLES, "first");
    install("settings_plugins", TOOLBOX_BUNDLES, "throwing"); // no folder of toolboxes
    inAProcess([] {
        EXPECT_EQ("", started());
        root();
        EXPECT_EQ("first second third fourth ", started());
        MSettings::reset(); // another root
        EXPECT_EQ("first second third fourth ", started());
    });
}

TEST_F(ToolboxBundles, OnesAtFaultDoNotKeepOthersBack) {
    const std::string session = "factory_settings/session";
    const fs::path throwing = install(session, TOOLBOX_BUNDLES, "throwing");
    const fs::path strange = install(session, TOOLBOX_BUNDLES, "no_such_bundle");
    const fs::path garbage = install(session, TOOLBOX_BUNDLES, "garbage");
    std::ofstream(garbage) << "no library";
    const fs::path unreadable = install(session, TOOLBOX_BUNDLES, "manifest");
    std::ofstream(unreadable.native() + ".json") << "[";
    const fs::path open = install(session, TOOLBOX_BUNDLES, "first");
    fs::permissions(open, fs::perms(0777));
    install(session, TOOLBOX_BUNDLES, "twins");
    inAProcess([&] {
        const LogLines log("settings::core::settingsImplRoot");
        EXPECT_EQ("twin ", groups()); // nothing of the bundle that threw
        EXPECT_EQ("throwing twins ", started());
        EXPECT_EQ(1.0, root()->getByFullName<double>("twin.x")); // the first stays
        EXPECT_EQ(1, std::count(log.lines.begin(), log.lines.end(), "Toolbox twin is already registered"));
        EXPECT_TRUE(has(problemOf(throwing), "no licence")) << problemOf(throwing);
        EXPECT_TRUE(has(problemOf(strange), "no_such_bundle")) << problemOf(strange);
        EXPECT_NE("", problemOf(garbage));
        EXPECT_NE("", problemOf(unreadable));
        EXPECT_TRUE(has(problemOf(open), "others than its owner")) << problemOf(open);
        EXPECT_EQ(5U, detail::getLoadProblems(DefaultRootIndex()).size());
    });
}

TEST_F(ToolboxBundles, BrokenServicesAreNamedWhoeverNeedsThem) {
    install("factory_settings_plugins", TOOLBOX_BUNDLES, "broken");
    inAProcess([] {
        EXPECT_TRUE(has(groups(), "faulty ")) << groups();
        EXPECT_EQ(7.0, root()->getByFullName<double>("sound.x"));
        for (int i = 0; i < 2; ++i)
            try {
                root()->getByFullName<double>("faulty.x");
                ADD_FAILURE();
            } catch (const std::exception& failure) {
                EXPECT_TRUE(has(failure.what(), "cannot define anything")) << failure.what();
            }
        EXPECT_EQ("cannot define anything", problemOf("toolbox faulty"));
        EXPECT_EQ("cannot tell whether it is visible", problemOf("toolbox unsure"));
        EXPECT_EQ("cannot find its file", problemOf("toolbox lost"));
        EXPECT_TRUE(has(problemOf("a toolbox without a name"), "has no name"));
        EXPECT_TRUE(has(problemOf("a toolbox without a name"), "the name of the group is empty"));
        EXPECT_FALSE(root()->getChild("unsure"));
    });
}

TEST_F(ToolboxBundles, LoadersDeclareTheirFiles) {
    define("plain");
    define("secret");
    install("factory_settings_plugins", TOOLBOX_BUNDLES, "loaders");
    inAProcess([this] {
        EXPECT_EQ("plain secret(hidden) ", groups());
        EXPECT_EQ(5.0, root()->getByFullName<double>("secret.x"));
        const auto all = getToolboxGroups(DefaultRootIndex());
        ASSERT_EQ(2U, all.size());
        EXPECT_EQ(ToolboxSource::file, all[0].source);
        EXPECT_EQ(std::vector<fs::path>{base / "files/plain.vksettings"}, all[0].files);
        EXPECT_FALSE(all[0].isLoaded);
        EXPECT_TRUE(all[1].isLoaded);
        EXPECT_GT(all[1].loadTime.count(), 0);
    });
}

TEST_F(ToolboxBundles, TheHostSaysWhatItIs) {
    install("factory_settings_test", TOOLBOX_BUNDLES, "host");
    inAProcess([] {
        const LogLines log("settings::core::startup");
        root();
        EXPECT_EQ(1, std::count(log.lines.begin(), log.lines.end(), "Host info : Session"));
    });
}

} // namespace
