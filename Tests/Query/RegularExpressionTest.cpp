#include <fmt/format.h>
#include <gtest/gtest.h>
#include <string>

#include "Query/RegularExpression.hpp"

namespace dovra {
namespace {

bool found(std::string_view pattern, std::string_view text, bool caseSensitive = false) {
    const auto expression = RegularExpression::compile(pattern, caseSensitive);
    EXPECT_TRUE(expression.has_value()) << pattern;
    return expression && expression->foundIn(text);
}

TEST(RegularExpression, MatchesUnicodeText) {
    EXPECT_TRUE(found("^r.sum.$", "R\u00C9SUM\u00C9"));
    EXPECT_TRUE(found("\u00E9t\u00E9", "\u00C9T\u00C9 2024"));
    EXPECT_FALSE(found("\u00E9t\u00E9", "\u00C9T\u00C9 2024", true));
    EXPECT_TRUE(found("^\\w+$", "\u65E5\u672C"));
    EXPECT_FALSE(found("$^", "anything"));
    EXPECT_TRUE(found("^$", ""));
}

TEST(RegularExpression, RefusesWhatDoesNotCompile) {
    for (const char* pattern : {"(", "[a", "*a", "a\\", "\\p{NoSuch}", "a\\Cb", "(a{60000}){60000}"})
        EXPECT_FALSE(RegularExpression::compile(pattern, true).has_value()) << pattern;
}

TEST(RegularExpression, RepairsIllFormedPatternsAndTexts) {
    EXPECT_TRUE(found("x.y", "x\xFFy"));
    EXPECT_TRUE(found("x\xFFy", "x\xC3y"));
    EXPECT_FALSE(found("x\xFFy", "xby"));
    EXPECT_TRUE(found("^x.{3}\u00E9$", "x\xED\xA0\x80\u00E9")) << "a surrogate is three ill-formed bytes";
}

/// Each would take longer than the universe has existed.
TEST(RegularExpression, GivesUpOnEndlessMatches) {
    const std::string as(250, 'a');
    for (const auto& [pattern, text] : {std::pair{"(a+)+$", as + "!"},
                                        {"(*NO_JIT)(a+)+$", as + "!"},
                                        {"(.*)*\\d$", "1" + as},
                                        {"(\\w+)+:", as + "-:"}})
        EXPECT_FALSE(found(pattern, text)) << pattern;
}

TEST(RegularExpression, CountsTheStepsOfAllPositionsTogether) {
    std::string text;
    while (text.size() < 400)
        text += std::to_string(text.size());
    for (const char* pattern : {"(.+)\\1$", "(*NO_JIT)(.+)\\1$"}) {
        const auto expression = RegularExpression::compile(pattern, false).value();
        EXPECT_EQ(expression.stepsFor(text + "z"), RegularExpression::mostSteps) << pattern;
        EXPECT_FALSE(expression.foundIn(text + "z", 500)) << pattern;
        EXPECT_EQ(expression.abandonedMatches(), 1) << pattern;
        EXPECT_LT(expression.stepsFor("abab"), 100) << pattern;
        EXPECT_TRUE(expression.foundIn("abab", 100)) << pattern;
        EXPECT_EQ(expression.abandonedMatches(), 1) << pattern;
    }
}

TEST(RegularExpression, OrdinaryPatternsReachTheEndOfLongPaths) {
    std::string path;
    while (path.size() < 4000)
        path += fmt::format("/projects-{}.foo_bar v1.2.3", path.size());
    for (const char* pattern : {".*foo.*bar.*baz", R"((\d+[-_.])*\d+\.tar\.(gz|xz))", R"(^(/[^/]+)+\.gz$)",
                                R"(^(\S+\s)*\S+$)", R"(^(?=.*foo)(?=.*bar)(?!.*zzz).*$)"}) {
        EXPECT_TRUE(found(pattern, path + "/baz-1.2.tar.gz")) << pattern;
        EXPECT_TRUE(found(fmt::format("(*NO_JIT){}", pattern), path + "/baz-1.2.tar.gz")) << pattern;
    }
}

}  // namespace
}  // namespace dovra
