#include <gtest/gtest.h>
#include <random>

#include "Diagnostics/SlowMatch.hpp"
#include "Query/FuzzyMatcher.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

TEST(FuzzyMatcher, ScoresWordStartsRunsAndGaps) {
    EXPECT_EQ(FuzzyMatcher("fb", false).score("foo_bar"), 56);
    EXPECT_EQ(FuzzyMatcher("foo", false).score("foo"), 16 + 20 + 16 + 10 + 16 + 10);
    EXPECT_EQ(FuzzyMatcher("az", false).score("xa" + std::string(100, '-') + "z"), 0);
    EXPECT_EQ(FuzzyMatcher("\u00E9", false).score("\u00C9"), std::nullopt) << "only ASCII is folded";
}

TEST(FuzzyMatcher, AgreesWithTheRulesOnRandomTexts) {
    std::mt19937 random(3);
    for (int i = 0; i < 100'000; ++i) {
        const std::string pattern = test::randomText(random, "aabbAB12._- \t(+\xC3\xA9", 1, 6);
        const std::string name = test::randomText(random, "aabbAB12._- \t(+\xC3\xA9", 0, 40);
        const bool caseSensitive = random() % 2 == 0;
        ASSERT_EQ(FuzzyMatcher(pattern, caseSensitive).score(name),
                  slow::fuzzyScore(pattern, name, caseSensitive))
            << testing::PrintToString(pattern) << " in " << testing::PrintToString(name);
    }
}

TEST(FuzzyMatcher, SmartCaseSeesUppercaseOfEveryScript) {
    for (const char* text : {"Rep", "r\u00C9p", "\u0394", "\u2160", "\U00010400"})
        EXPECT_TRUE(smartCaseSensitive(text)) << text;
    for (const char* text : {"", "rep-1", "r\u00E9p", "\u65E5\u672C", "\u01C5 titlecase", "\xC3", "\xFF\xFE"})
        EXPECT_FALSE(smartCaseSensitive(text)) << text;
}

}  // namespace
}  // namespace dovra
