#include <chrono>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

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
    EXPECT_TRUE(found(R"((?<![\p{L}\p{N}])log(?![\p{L}\p{N}]))", "my log.txt"));
    EXPECT_FALSE(found(R"((?<![\p{L}\p{N}])log(?![\p{L}\p{N}]))", "catalog.txt"));
    EXPECT_FALSE(found("$^", "anything"));
    EXPECT_TRUE(found("^$", ""));
}

TEST(RegularExpression, RefusesWhatDoesNotCompile) {
    for (const char* pattern : {"(", "[a", "*a", "a\\", "\\p{NoSuch}", "a\\Cb", "(a{60000}){60000}"})
        EXPECT_FALSE(RegularExpression::compile(pattern, true).has_value()) << pattern;
}

TEST(RegularExpression, RepairsIllFormedPatternsAndTexts) {
    EXPECT_TRUE(found("a.c",
                      "a\xFF"
                      "c"));
    EXPECT_TRUE(
        found("a\xFF"
              "c",
              "a\xC3"
              "c"));
    EXPECT_FALSE(
        found("a\xFF"
              "c",
              "abc"));
    EXPECT_TRUE(found("^a.{3}\u00E9$", "a\xED\xA0\x80\u00E9")) << "a surrogate is three ill-formed bytes";
}

TEST(RegularExpression, InterpretsWhereThereIsNoMachineCode) {
    EXPECT_TRUE(found("(*NO_JIT)^(\\d+[-_.])*\\d+\\.tar$", "1.22-333.tar"));
    EXPECT_FALSE(found("(*NO_JIT)(a+)+$", std::string(250, 'a') + "!"));
}

TEST(RegularExpression, EscapedTextMatchesItselfOnly) {
    std::string everything;
    for (unsigned byte = 0; byte < 128; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        everything += text;
        const std::string pattern = fmt::format("^{}\\z", RegularExpression::escapedPattern(text));
        for (unsigned other = 0; other < 128; ++other) {
            const bool isSame = other == byte;
            EXPECT_EQ(found(pattern, std::string(1, static_cast<char>(other)), true), isSame) << pattern;
        }
    }
    everything += "\u00E9\u65E5 \\Q\\E";
    EXPECT_TRUE(
        found(fmt::format("^{}\\z", RegularExpression::escapedPattern(everything)), everything, true));
}

TEST(RegularExpression, GivesUpOnEndlessMatches) {
    const std::vector<std::pair<const char*, std::string>> endless = {
        {"(a+)+$", std::string(250, 'a') + "!"},    {"(\\w+)+:", std::string(250, 'a') + "-:"},
        {"(x+x+)+y", std::string(250, 'x') + "zy"}, {"(.*)*\\d$", "1" + std::string(250, 'a')},
        {"(?:.*o)+$", std::string(250, 'o') + "!"}, {"(a|aa)+$", std::string(250, 'a') + "!"},
    };
    const auto start = std::chrono::steady_clock::now();
    for (const auto& [pattern, text] : endless)
        EXPECT_FALSE(found(pattern, text)) << pattern;
    // Unbounded, each would take longer than the universe has existed.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
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
                                R"(^(.|x)*$)", R"(^(\S+\s)*\S+$)", R"(^(?=.*foo)(?=.*bar)(?!.*zzz).*$)"}) {
        EXPECT_TRUE(found(pattern, path + "/baz-1.2.tar.gz")) << pattern;
        EXPECT_TRUE(found(fmt::format("(*NO_JIT){}", pattern), path + "/baz-1.2.tar.gz")) << pattern;
    }
}

TEST(RegularExpression, CopiesMatchOnManyThreads) {
    const RegularExpression expression = RegularExpression::compile("^(\\w+ )+(\\d+)$", false).value();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([copy = expression] {
            for (int i = 0; i < 2000; ++i) {
                EXPECT_TRUE(copy.foundIn(fmt::format("some words {}", i)));
                EXPECT_FALSE(copy.foundIn(fmt::format("some words{}", i)));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace dovra
