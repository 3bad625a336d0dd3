#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Base/AsciiFold.hpp"
#include "Diagnostics/SlowMatch.hpp"
#include "Query/TextMatcher.hpp"

namespace dovra {
namespace {

bool matches(std::string_view text, std::string_view name, bool caseSensitive = false,
             bool wholeWord = false) {
    return TextMatcher(MatchTarget::name, text, caseSensitive, wholeWord).matchesText(name);
}

TEST(TextMatcher, MatchesNames) {
    const std::tuple<std::string_view, std::string_view, bool, bool> cases[] = {
        {"Port", "report", true, false},
        {"\xC3\x89", "caf\xC3\xA9.txt", true, false},  // "É" in "café"
        {"*\xC3\x89.txt", "caf\xC3\xA9.txt", true, false},
        {"caf?\xC3\xA9", "cafe\xC3\xA9", true, true},
        {"\xC3\xA9?", "\xC3\xA9\xC3\xA9", true, true},  // any one character, not byte
        {"\xC3\xA9", "\xC3\xA9\n", true, true},
        {"?\xC3\xA9", "x\xC3\xA9\n", false, false},
        {"\xC3\xA9.*", "\xC3\xA9xb", false, false},  // "." is no wildcard
        {"(\xC3\xA9*", "(\xC3\xA9", true, true},
        {"a\xFF", "xa\xFF", true, true},
    };
    for (const auto& [text, name, inAnyCase, withItsCase] : cases) {
        EXPECT_EQ(matches(text, name), inAnyCase) << text << " on " << name;
        EXPECT_EQ(matches(text, name, true), withItsCase) << text << " on " << name;
    }
}

TEST(TextMatcher, MatchesWholeWords) {
    const std::tuple<std::string_view, std::string_view, bool> cases[] = {
        {"log", "logger", false},      {"log", "_log_", true},
        {"log", "\xC3\xA9log", false}, {"log", "log\xC2\xB2", false},
        {"*", "a * b", true},          {"a?", "a?", true},
        {"a.c", "abc", false},         {"a\\E|b", "xb", false},
        {"a b", "x a b", true},        {"\xC3\xA9", "\xC3\x89 x", true},
    };
    for (const auto& [text, name, expected] : cases)
        EXPECT_EQ(matches(text, name, false, true), expected) << text << " on " << name;
    EXPECT_FALSE(matches("log", "LOG", true, true));
}

TEST(TextMatcher, TheStemEndsAtTheLastDotThatIsNotFirst) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {".zshrc", ".zshrc"}, {".config.json", ".config"}, {"a.", "a"}, {"..", "."}, {"..a", "."}, {"", ""},
    };
    for (const auto& [name, stem] : cases)
        EXPECT_EQ(stemOf(name), stem) << name;
}

TEST(TextMatcher, FindsNeedlesLongerThanTheLargestShift) {
    // One more byte than a shift of the search can tell.
    const std::string needle = std::string(65535, 'a') + "b";
    const std::string name = std::string(70000, 'c') + needle;
    EXPECT_TRUE(matches(needle, name));
    EXPECT_FALSE(matches(needle + "d", name));
}

/// A search looks for the literal first and then trusts these statements about the matches.
TEST(TextMatcher, SaysOnlyTrueThingsAboutItsMatches) {
    std::mt19937 random(1);
    // With the Kelvin sign, the long s and the dotless i, which case folding maps to ASCII letters or near.
    const std::string_view pieces[] = {"k",        "K", "s",         "\xE2\x84\xAA", "\xC5\xBF", "\xC4\xB0",
                                       "\xC4\xB1", "i", "\xC3\x89",  "\xC3\xA9",     "*",        "?",
                                       " ",        ".", "e\xCC\x81", "\xFF"};
    const auto randomPieces = [&](std::size_t most) {
        std::string text;
        for (std::size_t i = random() % most + 1; i > 0; --i)
            text += pieces[random() % std::size(pieces)];
        return text;
    };
    for (int i = 0; i < 50000; ++i) {
        const std::string text = randomPieces(3);
        const std::string name = randomPieces(6);
        const bool caseSensitive = random() % 2 == 0;
        const TextMatcher matcher(MatchTarget::name, text, caseSensitive, random() % 3 == 0);
        const bool hasLiteral = slow::contains(name, matcher.requiredLiteral(), caseSensitive);
        const bool isMatch = matcher.matchesText(name);
        ASSERT_TRUE(!isMatch || hasLiteral) << text << " on " << name;
        ASSERT_TRUE(!isMatch || !matcher.needsNonAscii() || !isAscii(name)) << text << " on " << name;
        ASSERT_TRUE(!matcher.isPlainSubstring() || isMatch == hasLiteral) << text << " on " << name;
    }
}

}  // namespace
}  // namespace dovra
