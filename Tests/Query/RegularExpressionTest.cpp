#include <fmt/format.h>
#include <gtest/gtest.h>
#include <vector>

#include "Base/ConcurrentPerform.hpp"
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

TEST(RegularExpression, EscapedTextMatchesItselfOnly) {
    for (unsigned byte = 0; byte < 128; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        const std::string pattern = fmt::format("^{}\\z", RegularExpression::escapedPattern(text));
        for (unsigned other = 0; other < 128; ++other) {
            const bool isSame = other == byte;
            EXPECT_EQ(found(pattern, std::string(1, static_cast<char>(other)), true), isSame) << pattern;
        }
    }
    const std::string text = "\u00E9\u65E5 \\Q\\E";
    EXPECT_TRUE(found(fmt::format("^{}\\z", RegularExpression::escapedPattern(text)), text, true));
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

TEST(RegularExpression, GivesUpSoonerTheMoreOftenItDoes) {
    for (const bool interprets : {false, true}) {
        const auto expression =
            RegularExpression::compile(interprets ? "(*NO_JIT)(.*)*\\d$" : "(.*)*\\d$", false).value();
        const int texts = interprets ? 10000 : 100000;
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < texts; ++i)
            EXPECT_FALSE(expression.foundIn("Annual Report 2023.pdf"));
        EXPECT_EQ(expression.abandonedMatches(), texts);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
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

TEST(RegularExpression, CopiesMatchOnManyThreads) {
    const RegularExpression expression = RegularExpression::compile("^(\\w+ )+(\\d+)$", false).value();
    const std::vector<RegularExpression> copies(4, expression);
    performOnNewThreads(copies.size(), [&](std::size_t copy) {
        for (int i = 0; i < 2000; ++i) {
            EXPECT_TRUE(copies[copy].foundIn(fmt::format("some words {}", i)));
            EXPECT_FALSE(copies[copy].foundIn(fmt::format("some words{}", i)));
        }
    });
}

}  // namespace
}  // namespace dovra
