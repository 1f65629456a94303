#include "varnek/release/Release.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using varnek::release::ReleaseLabel;

TEST(Release, TheRunningOneIsSelfConsistent) {
    const auto& info = varnek::release::getCurrentVARNEKReleaseInfo();
    EXPECT_EQ("VARNEK", info.productName);
    EXPECT_EQ("R2025a", info.label.text());
    const std::string century = std::to_string(info.label.year() % 100) + ".";
    EXPECT_EQ(0u, info.version.find(century + (info.label.half() == ReleaseLabel::Half::a ? "1." : "2.")));
}

TEST(ReleaseLabel, ParsesExactlyItsForm) {
    for (const char* text : {"R2025a", "R2019b", "R0000a", "R9999b"})
        EXPECT_EQ(text, ReleaseLabel::parse(std::string_view(text)).value().text());
    for (const char* text :
         {"", "R2025", "R2025c", "r2025a", "R2025A", "R25a", "R+025a", "R2025a ", " R2025a", "R20255a"})
        EXPECT_FALSE(ReleaseLabel::parse(std::string_view(text))) << text;
    EXPECT_EQ(ReleaseLabel(2024, ReleaseLabel::Half::b), ReleaseLabel::parse(u"R2024b"));
    EXPECT_FALSE(ReleaseLabel::parse(u"R202\u0664b")); // a digit, but not ours
    EXPECT_THROW(ReleaseLabel(10'000, ReleaseLabel::Half::a), std::invalid_argument);
    EXPECT_THROW(ReleaseLabel(-1, ReleaseLabel::Half::a), std::invalid_argument);
}

TEST(ReleaseLabel, StepsBackThroughEveryHalfYear) {
    ReleaseLabel label(2025, ReleaseLabel::Half::a);
    std::string walked;
    for (int i = 0; i < 4; ++i) {
        const ReleaseLabel earlier = label.previous();
        EXPECT_LT(earlier, label);
        label = earlier;
        walked += label.text() + " ";
    }
    EXPECT_EQ("R2024b R2024a R2023b R2023a ", walked);
    EXPECT_THROW(ReleaseLabel(0, ReleaseLabel::Half::a).previous(), std::out_of_range);
}

} // namespace
