// Gives the test process level folders of its own, before anything asks for them.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

struct LevelFolders : testing::Environment {
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "settings-tests-XXXXXX").string();
        base_ = ::mkdtemp(pattern.data());
        for (const char* variable : {"SETTINGS_USERDIR", "SETTINGS_INSTALLATIONDIR", "SETTINGS_FACTORYDIR"}) {
            const auto folder = base_ / variable;
            std::filesystem::create_directory(folder);
            ::setenv(variable, folder.c_str(), 0);
        }
        // Nobody's real home is ever touched, not even by a test that lets go of these variables.
        ::setenv("HOME", base_.c_str(), 1);
        for (const char* variable : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "VARNEK_PREFDIR"})
            ::unsetenv(variable);
    }
    void TearDown() override { std::filesystem::remove_all(base_); }

    std::filesystem::path base_;
};

const auto* const registered = testing::AddGlobalTestEnvironment(new LevelFolders);

} // namespace
