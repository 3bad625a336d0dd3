#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Base/AsciiFold.hpp"
#include "Query/TextMatcher.hpp"

namespace dovra {
namespace {

bool matches(std::string_view text, std::string_view name, bool caseSensitive = false,
             bool wholeWord = false) {
    return TextMatcher(MatchTarget::name, text, caseSensitive, wholeWord).matchesText(name);
}

TEST(TextMatcher, MatchesNames) {
    struct Case {
        std::string_view text, name;
        bool inAnyCase, withItsCase;
    };
    const Case cases[] = {
        {"", "x", true, true},
        {"", "", true, true},
        {"Port", "report", true, false},
        {"report!", "report", false, false},
        {"*", "x", true, true},
        {"**", "", true, true},
        {"*.PDF", "report.pdf", true, false},
        {"*.pdf", "report.pdf.txt", false, false},
        {"report-??.pdf", "report-12.pdf", true, true},
        {"report-??.pdf", "report-1.pdf", false, false},
        {"a?c", "abc", true, true},
        {"a?c", "xabc", false, false},
        {"\xC3\x89", "caf\xC3\xA9.txt", true, false},  // "É" in "café"
        {"e", "caf\xC3\xA9", false, false},
        {"*\xC3\x89.txt", "caf\xC3\xA9.txt", true, false},
        {"caf?\xC3\xA9", "cafe\xC3\xA9", true, true},
        {"\xC3\xA9?", "\xC3\xA9\xC3\xA9", true, true},  // any one character, not byte
        {"\xC3\xA9*", "\xC3\xA9\nx", true, true},
        {"\xC3\xA9", "\xC3\xA9\n", true, true},
        {"?\xC3\xA9", "x\xC3\xA9\n", false, false},
        {"\xC3\xA9.*", "\xC3\xA9xb", false, false},  // "." is no wildcard
        {"(\xC3\xA9*", "(\xC3\xA9", true, true},
        {"a\xFF", "xa\xFF", true, true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(matches(c.text, c.name), c.inAnyCase) << c.text << " on " << c.name;
        EXPECT_EQ(matches(c.text, c.name, true), c.withItsCase) << c.text << " on " << c.name;
    }
}

TEST(TextMatcher, MatchesWholeWords) {
    struct Case {
        std::string_view text, name;
        bool expected;
    };
    const Case cases[] = {
        {"log", "my log.txt", true},
        {"log", "log-2024", true},
        {"log", "LOG", true},
        {"log", "catalog", false},
        {"log", "logger", false},
        {"log", "log2", false},
        {"log", "_log_", true},
        {"log", "catalog log", true},
        {"log", "\xC3\xA9log", false},
        {"log", "log\xC2\xB2", false},
        {"*", "a * b", true},
        {"*", "ab", false},
        {"a?", "a?", true},
        {"a?", "ab", false},
        {"a.c", "abc", false},
        {"a\\E|b", "xb", false},
        {"a b", "x a b", true},
        {"\xC3\xA9", "\xC3\x89 x", true},
    };
    for (const Case& c : cases)
        EXPECT_EQ(matches(c.text, c.name, false, true), c.expected) << c.text << " on " << c.name;
    EXPECT_FALSE(matches("log", "LOG", true, true));
}

TEST(TextMatcher, LooksAtItsTarget) {
    const auto never = []() -> std::string { throw std::logic_error("the path was asked for"); };
    const auto path = [] { return std::string("/folder/a.b.txt"); };
    EXPECT_TRUE(TextMatcher(MatchTarget::name, "txt", false, false).matches("a.b.txt", never));
    EXPECT_FALSE(TextMatcher(MatchTarget::stem, "txt", false, false).matches("a.b.txt", never));
    EXPECT_TRUE(TextMatcher(MatchTarget::stem, "*.b", false, false).matches("a.b.txt", never));
    EXPECT_TRUE(TextMatcher(MatchTarget::fullPath, "older/a", false, false).matches("a.b.txt", path));
    EXPECT_TRUE(TextMatcher(MatchTarget::fullPath, "/folder/*.txt", false, false).matches("a.b.txt", path));
    EXPECT_FALSE(TextMatcher(MatchTarget::fullPath, "folder*", false, false).matches("a.b.txt", path));
}

TEST(TextMatcher, TheStemEndsAtTheLastDotThatIsNotFirst) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"archive.tar.gz", "archive.tar"},
        {".zshrc", ".zshrc"},
        {"Makefile", "Makefile"},
        {".config.json", ".config"},
        {"a.", "a"},
        {"..", "."},
        {"..a", "."},
        {".", "."},
        {"", ""},
    };
    for (const auto& [name, stem] : cases)
        EXPECT_EQ(stemOf(name), stem) << name;
}

/// A search looks for the literal first and then trusts these statements about the matches.
TEST(TextMatcher, SaysOnlyTrueThingsAboutItsMatches) {
    std::mt19937 random(1);
    // With the Kelvin sign, the long s and the dotless i, which case folding maps to ASCII letters or near.
    const std::string_view pieces[] = {"k",        "K", "s",         "\xE2\x84\xAA", "\xC5\xBF", "\xC4\xB0",
                                       "\xC4\xB1", "i", "\xC3\x89",  "\xC3\xA9",     "*",        "?",
                                       " ",        ".", "e\xCC\x81", "\xFF"};
    const auto randomPieces = [&](std::size_t most, std::size_t kinds) {
        std::string text;
        for (std::size_t i = random() % most + 1; i > 0; --i)
            text += pieces[random() % kinds];
        return text;
    };
    int found = 0;
    for (int i = 0; i < 100000; ++i) {
        const std::string text = randomPieces(3, std::size(pieces));
        const std::string name = randomPieces(6, std::size(pieces));
        const bool caseSensitive = random() % 2 == 0;
        const TextMatcher matcher(MatchTarget::name, text, caseSensitive, random() % 3 == 0);
        const bool fold = !caseSensitive;
        const std::string subject = fold ? asciiFolded(name) : name;
        const bool hasLiteral = subject.find(fold ? asciiFolded(matcher.requiredLiteral())
                                                  : matcher.requiredLiteral()) != std::string::npos;
        const bool isMatch = matcher.matchesText(name);
        found += isMatch;
        ASSERT_TRUE(!isMatch || hasLiteral) << text << " on " << name;
        ASSERT_TRUE(!isMatch || !matcher.needsNonAscii() || !isAscii(name)) << text << " on " << name;
        ASSERT_TRUE(!matcher.isPlainSubstring() || isMatch == hasLiteral) << text << " on " << name;
    }
    EXPECT_GT(found, 5000);
}

}  // namespace
}  // namespace dovra
