// Files as trees of their own that several change at once.

#include "settingscore/SettingsFileManager.hpp"

#include "support/ManagedFile.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "varnek/files/FileStamp.hpp"
#include "varnek/files/PathText.hpp"

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>

namespace {

using namespace settings::core;
using namespace settings::test;
using settings::core::detail::ChangeRecord;
using settings::core::detail::UpgraderRecord;
using settings::core::detail::VersionRecord;

struct TogetherCase {
    const char* what;
    std::function<void(Settings&top)> mine, theirs; // theirs is saved first
    const char* expected;
};

std::string shown(const Settings& group) {
    std::string text;
    for (const Handle& child : group.getChildren())
        text += child->isLeafNode()
                    ? child->getName() + "=" +
                          (group.isSet(child->getName(), "installation")
                               ? std::to_string(static_cast<int>(group.get<double>(child->getName())))
                               : "") +
                          " "
                    : child->getName() + "{" + shown(*child) + "} ";
    return text;
}

Handle add(Settings& group, const char* name, double value) {
    return group.addSetting(name, Array::scalar(value), true, false, "installation");
}

TEST_F(FileManager, ChangesOfSeveralComeTogether) {
    const auto set = [](const char* name, double value) {
        return [=](Settings& top) { top.set(name, value, "installation"); };
    };
    const auto nothing = [](Settings&) {};
    const auto unset = [](const char* name) {
        return [=](Settings& top) { top.unset(name, "installation"); };
    };
    const auto remove = [](const char* name) { return [=](Settings& top) { top.removeNode(name); }; };
    const TogetherCase cases[] = {
        {"different settings", set("a", 5), set("b", 6), "a=5 b=6 g{c=3 } "},
        {"one setting", set("a", 5), set("a", 6), "a=5 b=2 g{c=3 } "},
        {"nothing here", nothing, set("a", 6), "a=6 b=2 g{c=3 } "},
        {"set and unset", set("a", 5), unset("b"), "a=5 b= g{c=3 } "},
        {"unset and set", unset("a"), set("b", 6), "a= b=6 g{c=3 } "},
        {"removed there, untouched here", set("b", 5), remove("a"), "b=5 g{c=3 } "},
        {"removed there, changed here", set("a", 5), remove("a"), "a=5 b=2 g{c=3 } "},
        {"removed here, changed there", remove("a"), set("a", 6), "b=2 g{c=3 } "},
        {"group removed there, untouched here", set("a", 5), remove("g"), "a=5 b=2 "},
        {"group removed there, changed here",
         [](Settings& top) { top.getChild("g")->set("c", 5.0, "installation"); }, remove("g"),
         "a=1 b=2 g{c=5 } "},
        {"group removed here, added to there", remove("g"),
         [](Settings& top) { add(*top.getChild("g"), "d", 6); }, "a=1 b=2 g{d=6 } "},
        {"both add", [](Settings& top) { add(top, "m", 5); },
         [](Settings& top) { add(*top.addGroup("n", true, false, "installation"), "x", 6); },
         "a=1 b=2 g{c=3 } m=5 n{x=6 } "},
        {"a setting here, a group there", [](Settings& top) { add(top, "m", 5); },
         [](Settings& top) { add(*top.addGroup("m", true, false, "installation"), "x", 6); },
         "a=1 b=2 g{c=3 } m=5 "},
    };
    for (const TogetherCase& each : cases) {
        std::filesystem::remove(file);
        {
            auto base = SettingsFileManager::create(file, "installation", false, "editor");
            const Handle top = base.getTopLevelNode();
            add(*top, "a", 1), add(*top, "b", 2);
            add(*top->addGroup("g", true, false, "installation"), "c", 3);
            base.save();
        }
        auto mine = SettingsFileManager::open(file, "installation");
        auto theirs = SettingsFileManager::open(file, "installation");
        each.mine(*mine.getTopLevelNode());
        each.theirs(*theirs.getTopLevelNode());
        theirs.save();
        for (int i = 0; i < 2; ++i) { // what was merged does not look like a change the next time
            mine.save();
            EXPECT_EQ(each.expected,
                      shown(*SettingsFileManager::open(file, "installation").getTopLevelNode()))
                << each.what;
        }
    }
}

TEST_F(FileManager, FactoryFilesComeTogetherAsWell) {
    made().save();
    auto mine = SettingsFileManager::open(file, "factory");
    auto theirs = SettingsFileManager::open(file, "factory");
    fontOf(mine)->addSetting("bold", Array::scalar(true), true, false, "factory");
    theirs.setUpgraders(upgraders);
    theirs.getTopLevelNode()->set("theme", 2.0, "factory");
    theirs.save();
    mine.save();
    const auto both = SettingsFileManager::open(file, "factory");
    EXPECT_EQ(upgraders, both.getUpgraders());
    EXPECT_EQ(upgraders, mine.getUpgraders());
    EXPECT_EQ(2.0, both.getTopLevelNode()->get<double>("theme"));
    EXPECT_TRUE(fontOf(both)->get<bool>("bold"));
    EXPECT_EQ("ValueIsNotInRange", failureOf([&] { fontOf(both)->set("size", 80.0, "factory"); }));
}

TEST_F(FileManager, AFileThatIsAnotherOneByNow) {
    made().save();
    {
        auto fresh = SettingsFileManager::create(file, "factory", false, "editor");
        fresh.getTopLevelNode()->addSetting("only", Array::scalar(1.0), true, false, "factory");
        fresh.save(); // what was there when it was made is replaced
        EXPECT_EQ(1U, SettingsFileManager::open(file, "factory").getTopLevelNode()->getChildren().size());
        EXPECT_EQ(2U, detail::readSettingsFile(file, detail::FileUse::factory).revision);
    }
    auto manager = SettingsFileManager::open(file, "factory");
    const std::string whole = bytesOf(file);
    std::filesystem::remove(file);
    manager.save(); // written whole
    EXPECT_EQ(1.0, SettingsFileManager::open(file, "factory").getTopLevelNode()->get<double>("only"));

    manager.getTopLevelNode()->set("only", 2.0, "factory");
    const auto refused = [&](const char* failure) {
        const std::string before = bytesOf(file);
        EXPECT_EQ(failure, failureOf([&] { manager.save(); }));
        EXPECT_EQ(before, bytesOf(file));
    };
    writeBytes(file, "no package");
    refused("SettingsFileNotWritten");
    writeBytes(file, whole);
    putPart(file, topPart, "[]");
    refused("ErrorReadingSettingsData");
    std::filesystem::remove(file);
    SettingsFileManager::create(file, "factory", false, "other").save();
    refused("SettingsFileNotWritten");
    std::filesystem::remove(file);
    SettingsFileManager::create(file, "user", false, "editor").save();
    refused("ErrorReadingSettingsData");
    writeBytes(file, whole);
    encrypt(file, "sesame");
    refused("SettingsFileNotWritten");
    writeBytes(file, whole);
    manager.save();
    EXPECT_EQ(2.0, SettingsFileManager::open(file, "factory").getTopLevelNode()->get<double>("only"));
}

/// One makes the file while others ask for it again and again: it comes at every moment of their asking.
TEST_F(FileManager, AFileThatAnotherProcessMakes) {
    constexpr int processes = 3;
    constexpr int rounds = 30;
    struct Shared {
        std::atomic<int> asking, done;
    };
    void* const memory =
        ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, memory);
    auto& shared = *new (memory) Shared{};
    const auto waitFor = [](const std::atomic<int>& counter, int count) {
        for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60); counter < count;
             ::sched_yield())
            if (std::chrono::steady_clock::now() > end)
                throw std::runtime_error("somebody does not come along");
    };
    const auto saveInTurn = [](SettingsFileManager& manager) {
        for (int attempt = 0;; ++attempt)
            try {
                return manager.save();
            } catch (const exception::SettingsFileNotWritten&) { // others are at it for very long
                if (attempt == 3)
                    throw;
            }
    };
    const auto takePart = [&](int number, int round) {
        const auto asked = [&] {
            return SettingsFileManager::createOrUpdateInstallationFile(
                varnek::files::utf16FromPath(folder.path()), "editor");
        };
        auto manager = asked();
        ++shared.asking;
        if (number == 0)
            waitFor(shared.asking, processes * round);
        else
            while (!std::filesystem::exists(file))
                manager = asked();
        add(*manager.getTopLevelNode(), ("s" + std::to_string(number)).c_str(), number);
        saveInTurn(manager);
    };
    std::vector<pid_t> children;
    for (int number = 0; number < processes; ++number) {
        children.push_back(::fork());
        ASSERT_NE(-1, children.back());
        if (children.back() != 0)
            continue;
        try {
            for (int round = 1; round <= rounds; ++round) {
                takePart(number, round);
                ++shared.done;
                waitFor(shared.done, (processes + 1) * round);
            }
        } catch (...) {
            ::_exit(1);
        }
        ::_exit(0);
    }
    int lost = 0;
    for (int round = 1; round <= rounds; ++round) {
        waitFor(shared.done, (processes + 1) * round - 1);
        const auto whole = SettingsFileManager::open(file, "installation");
        lost += processes - static_cast<int>(whole.getTopLevelNode()->getChildren().size());
        std::filesystem::remove(file);
        ++shared.done;
    }
    EXPECT_EQ(0, lost);
    for (const pid_t child : children) {
        int status = 0;
        EXPECT_EQ(child, ::waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }
    ::munmap(memory, sizeof(Shared));
}

// What cannot come together is refused: nobody's work is lost.

TEST_F(FileManager, UpgradersThatBothHaveChanged) {
    made().save();
    auto mine = SettingsFileManager::open(file, "factory");
    auto theirs = SettingsFileManager::open(file, "factory");
    theirs.setUpgraders(upgraders);
    theirs.save();
    const std::string before = bytesOf(file);
    mine.setUpgraders({{u"R2024b", {{"remove", {"editor.d"}, {}}}}});
    EXPECT_EQ("SettingsFileNotWritten", failureOf([&] { mine.save(); }));
    EXPECT_EQ(before, bytesOf(file));
    mine.setUpgraders(upgraders); // the same
    mine.save();
    EXPECT_EQ(upgraders, SettingsFileManager::open(file, "factory").getUpgraders());
}

TEST_F(FileManager, APersonalFileThatHasBeenUpgraded) {
    const auto write = [&](std::uint64_t upgrader, const char* release) {
        detail::SettingsFileContent content;
        content.tree.name = "editor";
        content.version = VersionRecord{upgrader, 0, ChangeRecord{"remove", {"editor.x"}, {}}, release};
        detail::SettingsFileWriter::write(std::move(content), LevelIndex::user, file);
    };
    write(1, "R2024a");
    auto manager = SettingsFileManager::open(file, "user");
    auto idle = SettingsFileManager::open(file, "user");
    manager.getTopLevelNode()->addSetting("mine", Array::scalar(1.0), true, false, "user");
    write(1, "R2024b"); // by another release, which changed no names
    manager.save();
    EXPECT_EQ("R2024b", manager.getFileReleaseVersion());

    manager.getTopLevelNode()->set("mine", 2.0, "user");
    write(2, "R2025a");
    const std::string before = bytesOf(file);
    EXPECT_EQ("SettingsFileNotWritten", failureOf([&] { manager.save(); }));
    EXPECT_NO_THROW(idle.save()); // has nothing to write
    EXPECT_EQ(before, bytesOf(file));
}

} // namespace
