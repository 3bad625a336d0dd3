#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Diagnostics/SlowMatch.hpp"
#include "Index/TrigramIndex.hpp"
#include "Query/SimilarMatcher.hpp"

namespace dovra {
namespace {

SimilarMatcher matcher(std::string_view sample, double threshold = 0.3) {
    return {TrigramIndex::trigrams(sample), threshold};
}

TEST(SimilarMatcher, ScoresSharedTrigrams) {
    EXPECT_EQ(matcher("report").score("REPORT"), 1000);
    EXPECT_EQ(matcher("abcd").score("abce"), 333);
    EXPECT_EQ(matcher("abcde").score("abcd"), 667);
    EXPECT_EQ(matcher("abcd").score("abc"), 500);
    EXPECT_EQ(matcher("report").score("holiday"), std::nullopt);
    EXPECT_EQ(matcher("ab").score("ab"), std::nullopt);
    EXPECT_EQ(matcher("abc").score("ab"), std::nullopt);
}

TEST(SimilarMatcher, TheThresholdItselfStillCounts) {
    EXPECT_EQ(matcher("abcd", 0.5).score("abc"), 500);
    EXPECT_EQ(matcher("abcd", 0.51).score("abc"), std::nullopt);
}

TEST(SimilarMatcher, AgreesWithSetArithmeticOnRandomNames) {
    std::mt19937 random(5);
    const auto text = [&](std::size_t longest) {
        std::string made(random() % (longest + 1), ' ');
        std::ranges::generate(made, [&] { return "aAbc"[random() % 4]; });
        return made;
    };
    for (int i = 0; i < 50'000; ++i) {
        const std::string sample = text(i % 100 == 0 ? 300 : 12);
        const std::string name = text(i % 50 == 0 ? 400 : 12);
        ASSERT_EQ(matcher(sample).score(name), slow::similarScore(sample, name)) << sample << ' ' << name;
    }
}

}  // namespace
}  // namespace dovra
