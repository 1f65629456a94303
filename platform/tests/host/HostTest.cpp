#include "varnek/host/Environment.hpp"
#include "varnek/host/Executable.hpp"
#include "varnek/host/Folders.hpp"
#include "varnek/host/HostError.hpp"

#include <gtest/gtest.h>

#include <gnu/libc-version.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace varnek::host;

/// Variables are put back and a scratch folder is removed at the end of the test.
class Host : public testing::Test {
  protected:
    Host() {
        std::string name = fs::temp_directory_path() / "host-test-XXXXXX";
        scratch = ::mkdtemp(name.data());
    }
    ~Host() override {
        for (const auto& [name, value] : before)
            put(name, value);
        fs::remove_all(scratch);
    }
    void set(const std::string& name, const std::optional<std::string>& value) {
        const char* old = std::getenv(name.c_str());
        before.try_emplace(name, old != nullptr ? std::optional<std::string>(old) : std::nullopt);
        put(name, value);
    }

    fs::path scratch;

  private:
    static void put(const std::string& name, const std::optional<std::string>& value) {
        if (value)
            ::setenv(name.c_str(), value->c_str(), 1);
        else
            ::unsetenv(name.c_str());
    }

    std::map<std::string, std::optional<std::string>> before;
};

TEST_F(Host, VariablesAreUtf16AndKeepEveryByte) {
    set("VARNEK_TEST", std::nullopt);
    EXPECT_FALSE(environmentVariable("VARNEK_TEST"));
    set("VARNEK_TEST", "");
    EXPECT_EQ(u"", environmentVariable("VARNEK_TEST"));
    set("VARNEK_TEST", "/\u00e4/\U0001F600/\xff");
    EXPECT_EQ(std::u16string(u"/\u00e4/\U0001F600/") + u'\xdcff', environmentVariable("VARNEK_TEST"));
}

TEST_F(Host, ConfigFolderComesFromTheFirstAbsolutePath) {
    set("HOME", "/home/somebody/");
    set("XDG_CONFIG_HOME", "/elsewhere//");
    EXPECT_EQ("/elsewhere", userConfigFolder());
    for (const char* unusable : {"", "relative/folder"}) {
        set("XDG_CONFIG_HOME", unusable);
        EXPECT_EQ("/home/somebody/.config", userConfigFolder());
    }
    set("XDG_CONFIG_HOME", std::nullopt);
    EXPECT_EQ("/home/somebody/.config", userConfigFolder());
    set("HOME", "nowhere");
    const passwd* entry = ::getpwuid(::geteuid());
    if (entry != nullptr)
        EXPECT_EQ(fs::path(entry->pw_dir) / ".config", userConfigFolder());
    else
        EXPECT_THROW(userConfigFolder(), HostError);
}

TEST_F(Host, StateFolderLikewise) {
    set("HOME", "/home/somebody");
    set("XDG_STATE_HOME", "/elsewhere");
    EXPECT_EQ("/elsewhere", userStateFolder());
    set("XDG_STATE_HOME", "relative");
    EXPECT_EQ("/home/somebody/.local/state", userStateFolder());
}

TEST_F(Host, TemporaryFolderMustBeOne) {
    set("TMPDIR", scratch.native() + "/");
    EXPECT_EQ(scratch, temporaryFolder());
    set("TMPDIR", scratch / "missing");
    EXPECT_EQ("/tmp", temporaryFolder());
    set("TMPDIR", "relative");
    EXPECT_EQ("/tmp", temporaryFolder());
}

TEST_F(Host, RuntimeFolderIsPrivateOrReplaced) {
    const fs::path session = scratch / "session", own = scratch / ("varnek-" + std::to_string(::geteuid()));
    fs::create_directory(session);
    set("TMPDIR", scratch);
    set("XDG_RUNTIME_DIR", session);

    fs::permissions(session, fs::perms::owner_all);
    EXPECT_EQ(session, runtimeFolder());
    EXPECT_FALSE(fs::exists(own));

    fs::permissions(session, fs::perms::owner_all | fs::perms::group_read);
    EXPECT_EQ(own, runtimeFolder());
    EXPECT_EQ(fs::perms::owner_all, fs::status(own).permissions());
    EXPECT_EQ(own, runtimeFolder()) << "the second time it exists";

    fs::permissions(own, fs::perms::owner_all | fs::perms::others_exec);
    EXPECT_THROW(runtimeFolder(), HostError);
    fs::remove(own);
    fs::permissions(session, fs::perms::owner_all);
    fs::create_directory_symlink(session, own);
    set("XDG_RUNTIME_DIR", std::nullopt);
    EXPECT_THROW(runtimeFolder(), HostError) << "somebody's link in its place";
}

TEST(Executable, IsTheRunningOne) {
    std::error_code error;
    EXPECT_TRUE(fs::equivalent(executablePath(), "/proc/self/exe", error));
    EXPECT_TRUE(executablePath().is_absolute());
}

TEST(Executable, ModulesAreFoundByWhatTheyHold) {
    const int local = 0;
    EXPECT_EQ(executablePath(), modulePathOf(reinterpret_cast<const void*>(&executablePath)));
    const auto system = modulePathOf(reinterpret_cast<const void*>(&::gnu_get_libc_version));
    EXPECT_TRUE(system.filename().native().starts_with("libc.")) << system; // no sanitizer replaces that one
    EXPECT_THROW(modulePathOf(&local), HostError);
}

} // namespace
