#include "support/TestTree.hpp"

#include "settingscore/exception/Exceptions.hpp"

#include <gtest/gtest.h>

namespace {

using namespace settings::test;
using settings::core::LevelIndex;
using settings::core::levelsInOrder;

TEST(LevelResolution, EveryCombinationOfLevels) {
    std::string report;
    for (unsigned mask = 0; mask < 16; ++mask) {
        const TestTree tree;
        const Handle group = tree.group("g");
        const Handle setting = TestTree::setting(group, "s");
        std::string levels;
        for (const LevelIndex level : levelsInOrder) {
            if ((mask >> settings::core::position(level) & 1U) == 0)
                continue;
            load(setting, level,
                 Array::text(u"from " + std::u16string(1, u'0' + char16_t(settings::core::position(level)))));
            levels += (levels.empty() ? "" : " ") + std::string(levelName(level));
        }
        const Array effective = group->get("s");
        const std::string winner =
            effective.isVoid()
                ? "nothing"
                : std::string(levelName(levelsInOrder[std::size_t(effective.text().back() - u'0')]));
        report.append("{").append(levels).append("} -> ").append(winner).append("\n");
    }
    EXPECT_EQ(golden("level_resolution.txt"), report);
}

TEST(LevelResolution, ANamedLevelAnswersForItselfOnly) {
    const TestTree tree;
    const Handle group = tree.group("g");
    TestTree::setting(group, "s", Array::scalar(1.0));
    group->set("s", Array::scalar(2.0), "user");
    EXPECT_TRUE(group->get("s", "session").isVoid());
    EXPECT_EQ(Array::scalar(2.0), group->get("s", "user"));
    EXPECT_TRUE(group->get("s", "installation").isVoid());
    EXPECT_EQ(Array::scalar(1.0), group->get("s", "factory"));
    EXPECT_TRUE(group->isSet("s", "user"));
    EXPECT_FALSE(group->isSet("s", "session"));
    group->set("s", Array::scalar(3.0), "session");
    EXPECT_EQ(3.0, group->get<double>("s"));
    group->unset("s", "session");
    EXPECT_EQ(2.0, group->get<double>("s"));
    group->unset("s", "user");
    EXPECT_EQ(1.0, group->get<double>("s"));
}

} // namespace
