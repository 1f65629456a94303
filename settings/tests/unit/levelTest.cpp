// The four levels, their folders and the index of a tree.

#include "settingscore/level/RootIndex.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/level/LevelFolders.hpp"
#include "varnek/files/PathText.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <thread>

namespace {

using namespace settings::core;
using detail::LevelFolders;

const SettingsLevel& level(LevelIndex index) {
    return SettingsLevelManager::getSettingsLevelObjs()[position(index)];
}

/// Clears the variables and supplies folders by functions; puts everything back.
class LevelFoldersTest : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : variables)
            if (const char* value = std::getenv(name))
                saved_[name] = value;
        for (const char* name : variables)
            ::unsetenv(name);
        before_ = detail::setLevelFolders({[] { return std::u16string(u"/from/user"); },
                                           [] { return std::u16string(u"/from/installation"); },
                                           [] { return std::u16string(u"/from/factory"); },
                                           [] { return std::u16string(u"/from/workgroup"); }});
    }
    void TearDown() override {
        for (const char* name : variables)
            ::unsetenv(name);
        for (const auto& [name, value] : saved_)
            ::setenv(name.c_str(), value.c_str(), 1);
        detail::setLevelFolders(before_);
    }

    static constexpr const char* variables[] = {"SETTINGS_USERDIR", "SETTINGS_INSTALLATIONDIR",
                                                "SETTINGS_FACTORYDIR", "SETTINGS_WORKGROUPDIR"};

  private:
    std::map<std::string, std::string> saved_;
    LevelFolders before_;
};

TEST(Levels, TableAndItsOddities) {
    struct Row {
        const char* name;
        bool canBeModified, canHaveFile, isWritable, isFactory, isUser, isInstallation;
    };
    const Row rows[] = {{"session", true, false, false, false, false, false},
                        {"user", true, true, true, false, true, false},
                        {"installation", true, true, true, false, false, true},
                        {"factory", false, true, true, true, false, false}};
    const auto manager = getSettingsLevelManagerInstance();
    std::vector<std::string> names;
    for (const Row& row : rows) {
        const SettingsLevel* found = manager->getSettingsLevelByName(row.name);
        ASSERT_EQ(found, &SettingsLevelManager::getSettingsLevelObjs()[names.size()]) << row.name;
        EXPECT_EQ(levelIndexOf(row.name), levelsInOrder[names.size()]);
        names.emplace_back(row.name);
        EXPECT_EQ(found->levelName(), row.name);
        EXPECT_EQ(found->canBeModified(), row.canBeModified) << row.name;
        EXPECT_EQ(found->canHaveFile(), row.canHaveFile) << row.name;
        EXPECT_EQ(found->isFactoryLevel(), row.isFactory) << row.name;
        EXPECT_EQ(found->isUserLevel(), row.isUser) << row.name;
        EXPECT_EQ(found->isInstallationLevel(), row.isInstallation) << row.name;
        EXPECT_FALSE(found->isWorkgroupLevel()) << row.name;
        EXPECT_EQ(manager->isWritableLevel(row.name), row.isWritable) << row.name;
        EXPECT_TRUE(manager->isValidLevel(row.name)) << row.name;
    }
    EXPECT_EQ(manager->getAllLevelNames(), names);
    EXPECT_EQ(SettingsLevelManager::getLastLevelName(), "factory");
    EXPECT_EQ(manager, getSettingsLevelManagerInstance());

    for (const char* unknown : {"", "User", "user ", "use", "workgroup", "factory\n"}) {
        EXPECT_EQ(manager->getSettingsLevelByName(unknown), nullptr) << unknown;
        EXPECT_FALSE(manager->isValidLevel(unknown)) << unknown;
        EXPECT_FALSE(manager->isWritableLevel(unknown)) << unknown;
    }
    EXPECT_FALSE(manager->isValidLevel(std::string_view("user\0", 5)));
}

TEST_F(LevelFoldersTest, FunctionsSupplyTheFoldersWhenNoVariableDoes) {
    EXPECT_EQ(level(LevelIndex::session).levelRootPath(), u"");
    EXPECT_EQ(level(LevelIndex::user).levelRootPath(), u"/from/user");
    EXPECT_EQ(level(LevelIndex::installation).levelRootPath(), u"/from/installation");
    EXPECT_EQ(level(LevelIndex::factory).levelRootPath(), u"/from/factory");
    EXPECT_EQ(detail::workgroupFolder(), u"/from/workgroup");
    detail::setLevelFolders({});
    for (const LevelIndex other : {LevelIndex::session, LevelIndex::installation, LevelIndex::factory})
        EXPECT_EQ(level(other).levelRootPath(), u"") << levelName(other);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(level(LevelIndex::user).levelRootPath(), testing::ExitedWithCode(1),
                testing::Eq("There is no folder for personal settings: SETTINGS_USERDIR is not set. \n"));
    EXPECT_EQ(detail::workgroupFolder(), u"");
}

TEST_F(LevelFoldersTest, VariablesComeFirstAndTheFunctionsAreNotAsked) {
    const detail::FolderFunction unwanted = []() -> std::u16string { throw std::logic_error("asked"); };
    detail::setLevelFolders({unwanted, unwanted, unwanted, unwanted});
    ::setenv("SETTINGS_USERDIR", "/env/us\xC3\xA9r", 1);
    ::setenv("SETTINGS_INSTALLATIONDIR", "/env/installation", 1);
    ::setenv("SETTINGS_FACTORYDIR", "/env/factory", 1);
    ::setenv("SETTINGS_WORKGROUPDIR", "/env/workgroup", 1);
    EXPECT_EQ(level(LevelIndex::user).levelRootPath(), u"/env/us\u00E9r");
    EXPECT_EQ(level(LevelIndex::installation).levelRootPath(), u"/env/installation");
    EXPECT_EQ(level(LevelIndex::factory).levelRootPath(), u"/env/factory");
    EXPECT_EQ(detail::workgroupFolder(), u"/env/workgroup");
}

TEST_F(LevelFoldersTest, AnEmptyVariableCountsAsUnset) {
    ::setenv("SETTINGS_USERDIR", "", 1);
    EXPECT_EQ(level(LevelIndex::user).levelRootPath(), u"/from/user");
}

TEST_F(LevelFoldersTest, ARelativeVariableIsRelativeToTheFolderOfTheFirstQuestion) {
    const auto here = std::filesystem::current_path();
    const auto in = [&here](const char* name) { return varnek::files::utf16FromPath(here / name); };
    ::setenv("SETTINGS_USERDIR", "some/user", 1);
    ::setenv("SETTINGS_INSTALLATIONDIR", "installation", 1);
    ::setenv("SETTINGS_FACTORYDIR", "factory", 1);
    ::setenv("SETTINGS_WORKGROUPDIR", "workgroup", 1);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(level(LevelIndex::user).levelRootPath(), in("some/user"));
        EXPECT_EQ(level(LevelIndex::installation).levelRootPath(), in("installation"));
        EXPECT_EQ(level(LevelIndex::factory).levelRootPath(), in("factory"));
        EXPECT_EQ(detail::workgroupFolder(), in("workgroup"));
        std::filesystem::current_path("/");
        if (round == 0)
            detail::forgetLevelFolders();
    }
    std::filesystem::current_path(here);
}

TEST_F(LevelFoldersTest, AFolderIsFoundOnceUntilItIsForgotten) {
    constexpr int readerCount = 4;
    std::atomic<int> calls{0};
    const detail::FolderFunction counted = [&] {
        ++calls;
        for (int i = 0; i < 1000; ++i) // leaves the others time to come in as well
            std::this_thread::yield();
        return std::u16string(u"/first");
    };
    detail::setLevelFolders({{}, counted, {}, {}});
    const SettingsLevel& installation = level(LevelIndex::installation);
    std::barrier start(readerCount);
    std::vector<std::thread> readers;
    for (int i = 0; i < readerCount; ++i)
        readers.emplace_back([&] {
            start.arrive_and_wait();
            EXPECT_EQ(installation.levelRootPath(), u"/first");
        });
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(calls, 1);

    const SettingsLevel copy = installation;
    ::setenv("SETTINGS_INSTALLATIONDIR", "/second", 1);
    EXPECT_EQ(installation.levelRootPath(), u"/first");
    detail::forgetLevelFolders();
    EXPECT_EQ(installation.levelRootPath(), u"/second");
    EXPECT_EQ(copy.levelRootPath(), u"/first");
}

TEST_F(LevelFoldersTest, AFolderFunctionMayAskForAnotherLevel) {
    detail::setLevelFolders({{},
                             [] { return level(LevelIndex::factory).levelRootPath() + u"/inst"; },
                             [] { return std::u16string(u"/f"); },
                             {}});
    EXPECT_EQ(level(LevelIndex::installation).levelRootPath(), u"/f/inst");
}

TEST_F(LevelFoldersTest, AFailedFolderIsAskedForAgainExceptTheUsersWhichEndsTheProcess) {
    bool fails = true;
    const detail::FolderFunction function = [&] {
        return fails ? throw std::runtime_error("no such folder %d") : std::u16string(u"/found");
    };
    detail::setLevelFolders({function, function, {}, {}});
    EXPECT_THROW(level(LevelIndex::installation).levelRootPath(), std::runtime_error);

    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(level(LevelIndex::user).levelRootPath(), testing::ExitedWithCode(1),
                testing::Eq("no such folder %d \n"));
    fails = false;
    EXPECT_EQ(level(LevelIndex::installation).levelRootPath(), u"/found");
}

TEST(RootIndex, WellKnownValuesAndCopies) {
    const RootIndex byDefault = DefaultRootIndex();
    EXPECT_EQ(byDefault, RootIndex(0, true, true));
    EXPECT_EQ(RootIndex(InvalidRootIndex()), RootIndex(-1, false, false));
    EXPECT_EQ(RootIndex(), InvalidRootIndex());
    EXPECT_NE(byDefault, RootIndex(0, true, false));
    EXPECT_NE(byDefault, RootIndex(0, false, true));
    EXPECT_NE(byDefault, RootIndex(1, true, true));
    RootIndex copy;
    copy = byDefault;
    EXPECT_EQ(copy.index(), 0);
    EXPECT_TRUE(copy.namesTree() && copy.buildsOnDemand());
}

} // namespace
