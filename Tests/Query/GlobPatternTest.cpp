#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Base/AsciiFold.hpp"
#include "Diagnostics/SlowMatch.hpp"
#include "Query/GlobPattern.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

TEST(GlobPattern, MatchesByDefinition) {
    std::mt19937 random(1);
    for (int i = 0; i < 100000; ++i) {
        const std::string pattern = test::randomText(random, i % 2 == 0 ? "aAb*" : "abB*?", 1, 8);
        const std::string text = test::randomText(random, "aAbB", 0, 10);
        for (const bool caseSensitive : {false, true}) {
            const GlobPattern glob = GlobPattern::compile(pattern, caseSensitive);
            ASSERT_EQ(glob.matches(text), slow::globMatches(pattern, text, caseSensitive))
                << pattern << " on " << text;
            const std::string subject = caseSensitive ? text : asciiFolded(text);
            ASSERT_TRUE(!glob.matches(text) || subject.find(glob.requiredLiteral()) != std::string::npos);
        }
    }
}

TEST(GlobPattern, TakesTimeInProportion) {
    std::string pattern = "*b?";
    for (int i = 0; i < 30; ++i)
        pattern.insert(0, "*a");
    EXPECT_FALSE(GlobPattern::compile(pattern, false).matches(std::string(65535, 'a')));
}

}  // namespace
}  // namespace dovra
