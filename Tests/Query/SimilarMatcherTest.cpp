#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Diagnostics/SlowMatch.hpp"
#include "Index/TrigramIndex.hpp"
#include "Query/SimilarMatcher.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

TEST(SimilarMatcher, TheThresholdItselfStillCounts) {
    const TrigramSet sample = TrigramIndex::trigrams("abcd");
    EXPECT_EQ(SimilarMatcher(sample, 0.5).score("ABC"), 500);
    EXPECT_EQ(SimilarMatcher(sample, 0.51).score("ABC"), std::nullopt);
}

TEST(SimilarMatcher, AgreesWithSetArithmeticOnRandomNames) {
    std::mt19937 random(5);
    for (int i = 0; i < 50'000; ++i) {
        const std::string sample = test::randomText(random, "aAbc", 0, i % 100 == 0 ? 300 : 12);
        const std::string name = test::randomText(random, "aAbc", 0, i % 50 == 0 ? 400 : 12);
        ASSERT_EQ(SimilarMatcher(TrigramIndex::trigrams(sample), 0.3).score(name),
                  slow::similarScore(sample, name))
            << sample << ' ' << name;
    }
}

}  // namespace
}  // namespace dovra
