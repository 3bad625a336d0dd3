#include <gtest/gtest.h>
#include <string>

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
    // One byte more than the largest shift of the search.
    const std::string needle = std::string(65535, 'a') + "b";
    const std::string name = std::string(70000, 'c') + needle;
    EXPECT_TRUE(matches(needle, name));
    EXPECT_FALSE(matches(needle + "d", name));
}

}  // namespace
}  // namespace dovra
