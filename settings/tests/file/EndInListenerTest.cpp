// A listener that the writer's thread calls ends the process: what is still to be written is written first.

#include "support/Children.hpp"
#include "support/WriterTree.hpp"

#include "settingscore/events/SettingsEvent.hpp"
#include "settingscore/settings/file/prefdirWriter.hpp"
#include "varnek/event/EventManager.hpp"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace {

using namespace settings::core;
using namespace settings::test;
using detail::prefdirWriter;

constexpr int groupCount = 10;
/// So few that the files of the groups are written in several turns.
constexpr rlim_t fewDescriptors = 32;

std::string groupName(int number) {
    return "g" + std::to_string(number);
}

struct EndInListener : WriterTree {};

TEST_F(EndInListener, DISABLED_TheWritersListenerEndsTheProcess) {
    ::alarm(60);
    rlimit limit{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
    limit.rlim_cur = fewDescriptors;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));

    const std::filesystem::path base = std::getenv("FILE_WRITER_FOLDER");
    const FileTree here(base, prefdirWriter);
    std::vector<Handle> groups;
    for (int i = 0; i < groupCount; ++i)
        groups.push_back(group(here, groupName(i)));
    const Handle other = group(here, "other");
    const FileTree elsewhere(base);
    for (int i = 0; i < groupCount; ++i)
        group(elsewhere, groupName(i))->set("t", 7.0, "user");

    const auto connection =
        varnek::event::EventManager::instance().subscribe(u"settings::core::SettingsEvent", [&](const auto&) {
            if (!prefdirWriter()->isWorker())
                return;
            if (!other->isSet("s", "user"))
                other->set("s", 77.0, "user");
            std::exit(0);
        });
    prefdirWriter()->holdPasses(); // until all of them wait
    for (const Handle& each : groups)
        each->set("s", 2.0, "user");
    prefdirWriter()->releasePasses();
    for (;;)
        ::pause();
}

TEST_F(EndInListener, WhatIsLeftIsWritten) {
    for (int i = 0; i < groupCount; ++i) // they have files, which others change then
        group(FileTree(folder.path()), groupName(i))->set("s", 1.0, "user");
    inAnotherProcess(
        [&] { becomeTest("EndInListener.DISABLED_TheWritersListenerEndsTheProcess", folder.path()); });
    for (int i = 0; i < groupCount; ++i) {
        EXPECT_EQ(2.0, onDisk(groupName(i))) << i;
        EXPECT_EQ(7.0, onDisk(groupName(i), "t")) << i;
    }
    EXPECT_EQ(77.0, onDisk("other"));
}

} // namespace
