#include <algorithm>
#include <gtest/gtest.h>
#include <random>

#include "Diagnostics/SlowMatch.hpp"
#include "Query/FuzzyMatcher.hpp"

namespace dovra {
namespace {

TEST(FuzzyMatcher, ScoresWordStartsRunsAndGaps) {
    EXPECT_EQ(FuzzyMatcher("fb", false).score("foo_bar"), 56);
    EXPECT_EQ(FuzzyMatcher("foo", false).score("foo"), 16 + 20 + 16 + 10 + 16 + 10);
    EXPECT_EQ(FuzzyMatcher("abc", false).score("ab"), std::nullopt);
    EXPECT_EQ(FuzzyMatcher("ba", false).score("ab"), std::nullopt);
    EXPECT_EQ(FuzzyMatcher("", false).score(""), 0);
    EXPECT_EQ(FuzzyMatcher("a", false).score(""), std::nullopt);
    EXPECT_EQ(FuzzyMatcher("az", false).score("xa" + std::string(100, '-') + "z"), 0);
}

TEST(FuzzyMatcher, FoldsTheNameUnlessCaseCounts) {
    EXPECT_TRUE(FuzzyMatcher("RPT", false).score("Report").has_value());
    EXPECT_FALSE(FuzzyMatcher("Rep", true).score("report").has_value());
    EXPECT_TRUE(FuzzyMatcher("Rep", true).score("my Report").has_value());
    EXPECT_FALSE(FuzzyMatcher("\u00E9", false).score("\u00C9").has_value());
}

TEST(FuzzyMatcher, AgreesWithTheRulesOnRandomTexts) {
    std::mt19937 random(3);
    constexpr std::string_view alphabet = "aabbAB12._- \t(+\xC3\xA9";
    const auto text = [&](std::size_t longest) {
        std::string made(random() % (longest + 1), ' ');
        std::ranges::generate(made, [&] { return alphabet[random() % alphabet.size()]; });
        return made;
    };
    int matches = 0;
    for (int i = 0; i < 200'000; ++i) {
        const std::string pattern = text(6);
        const std::string name = text(40);
        const bool caseSensitive = random() % 2 == 0;
        const auto expected = slow::fuzzyScore(pattern, name, caseSensitive);
        ASSERT_EQ(FuzzyMatcher(pattern, caseSensitive).score(name), expected)
            << testing::PrintToString(pattern) << " in " << testing::PrintToString(name);
        matches += expected ? 1 : 0;
    }
    EXPECT_GT(matches, 50'000) << "the texts no longer exercise the score";
}

TEST(FuzzyMatcher, SmartCaseSeesUppercaseOfEveryScript) {
    for (const char* text : {"Rep", "r\u00C9p", "\u0394", "\u2160", "\U00010400"})
        EXPECT_TRUE(smartCaseSensitive(text)) << text;
    for (const char* text : {"", "rep-1", "r\u00E9p", "\u65E5\u672C", "\u01C5 titlecase", "\xC3", "\xFF\xFE"})
        EXPECT_FALSE(smartCaseSensitive(text)) << text;
}

}  // namespace
}  // namespace dovra
