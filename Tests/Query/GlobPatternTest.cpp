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
    for (int i = 0; i < 200000; ++i) {
        const std::string pattern = test::randomText(random, i % 2 == 0 ? "aAb*" : "abB*?", 1, 8);
        const std::string text = test::randomText(random, "aAbB", 0, 10);
        const GlobPattern exact = GlobPattern::compile(pattern, true);
        const GlobPattern folding = GlobPattern::compile(pattern, false);
        ASSERT_EQ(exact.matches(text), slow::globMatches(pattern, text, true)) << pattern << " on " << text;
        ASSERT_EQ(folding.matches(text), slow::globMatches(pattern, text, false))
            << pattern << " on " << text;
        ASSERT_TRUE(!exact.matches(text) || text.find(exact.requiredLiteral()) != std::string::npos);
        ASSERT_TRUE(!folding.matches(text) ||
                    asciiFolded(text).find(folding.requiredLiteral()) != std::string::npos);
    }
}

TEST(GlobPattern, RecognisesFrequentShapes) {
    const auto shape = [](std::string_view pattern) {
        return GlobPattern::compile(pattern, true).kind().index();
    };
    constexpr std::size_t prefix = 0, suffix = 1, contains = 2, general = 3;
    const std::pair<std::string_view, std::size_t> cases[] = {
        {"", contains},   {"*", contains},   {"***", contains}, {"*ab*", contains},
        {"ab*", prefix},  {"*.pdf", suffix}, {"a*b", general},  {"*a*b", general},
        {"**a", general}, {"*a**", general}, {"*?*", general},  {"ab", general},
    };
    for (const auto& [pattern, expected] : cases)
        EXPECT_EQ(shape(pattern), expected) << pattern;
    EXPECT_TRUE(GlobPattern::compile("", true).matches("anything"));
}

TEST(GlobPattern, TakesBytesNotCharacters) {
    EXPECT_TRUE(GlobPattern::compile("??", false).matches("\xC3\xA9"));
    EXPECT_FALSE(GlobPattern::compile("?", false).matches("\xC3\xA9"));
    EXPECT_TRUE(GlobPattern::compile("a?b*", false).matches("a\nb\xFF"));
}

TEST(GlobPattern, TakesTimeInProportion) {
    std::string pattern;
    for (int i = 0; i < 30; ++i)
        pattern += "*a";
    EXPECT_FALSE(GlobPattern::compile(pattern + "*b?", false).matches(std::string(65535, 'a')));
}

}  // namespace
}  // namespace dovra
