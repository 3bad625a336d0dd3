#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <unicode/utf8.h>

#include "Base/AsciiFold.hpp"
#include "Index/TrigramIndex.hpp"
#include "Query/RegexLiterals.hpp"
#include "Query/RegularExpression.hpp"

namespace dovra {
namespace {

using RegexLiterals::hasTopLevelAlternation;
using RegexLiterals::literalRuns;
using RegexLiterals::requiredTrigrams;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct RunsCase {
    std::string_view pattern;
    std::vector<std::string> runs;
};

TEST(RegexLiterals, ReadsTheRunsOfCaseSensitivePatterns) {
    const RunsCase cases[] = {
        {"colou?r", {"colo", "r"}},
        {"ab+cd", {"ab", "cd"}},
        {"ab+?cd++ef", {"ab", "cd", "ef"}},
        {R"(\.txt$)", {".txt"}},
        {R"(a\dbcd)", {"a", "bcd"}},
        {R"(a\.b\*?c)", {"a.b", "c"}},
        {"ab*c{2}de{,3}f{1,}g", {"a", "d", "g"}},
        {"a{b}c{,}d", {"a{b}c{,}d"}},
        {"a]b}c", {"a]b}c"}},
        {"(abc|xyz)def", {"def"}},
        {"foo(?!bar(x)[)])baz(?<=z)q", {"foo", "baz", "q"}},
        {"(?<name>abc)?de[]abc]fg[^]x]hi[[:alpha:])]jk[a\\]b]lm", {"de", "fg", "hi", "jk", "lm"}},
        {"caf\u00E9?s", {"caf", "s"}},
        {"\u00C9T\u00C9", {"\u00C9T\u00C9"}},
        {"ab\xFF"
         "cd",
         {"ab", "cd"}},
        {"", {}},
    };
    for (const auto& [pattern, runs] : cases)
        EXPECT_THAT(literalRuns(pattern, true), ElementsAreArray(runs)) << pattern;
}

TEST(RegexLiterals, BreaksRunsWhereCaselessLettersMatchOthers) {
    EXPECT_THAT(literalRuns("breakfast", false), ElementsAreArray({"brea", "fa", "t"}));
    EXPECT_THAT(literalRuns("caf\u00E9 noir", false), ElementsAreArray({"caf", " noir"}));
}

TEST(RegexLiterals, NoOtherCharacterMatchesAsciiFromOutside) {
    std::string allOthers;
    for (UChar32 codePoint = 0x80; codePoint <= 0x10FFFF; ++codePoint) {
        if (U_IS_SURROGATE(codePoint)) continue;
        char bytes[U8_MAX_LENGTH];
        std::size_t length = 0;
        U8_APPEND_UNSAFE(bytes, length, codePoint);
        allOthers.append(bytes, length);
    }
    for (char c = 1; c < 127; ++c) {
        const std::string pattern = RegularExpression::escapedPattern({&c, 1});
        const bool isCertain = !literalRuns(pattern, false).empty();
        const bool hasPartner = RegularExpression::compile(pattern, false)->foundIn(allOthers);
        EXPECT_FALSE(isCertain && hasPartner) << pattern;
    }
}

TEST(RegexLiterals, RestrictsNothingWhereItCannotFollow) {
    for (const char* pattern :
         {"abc|xyz", R"(abc\x41bcd)", R"(abc\Qx?\E)", R"(abcd\E?)", R"(abc\cAbcd)", R"(abc\N{U+41}bcd)",
          R"(abc\p{L}bcd)", R"(abc\pLbcd)", R"((a)\1abc)", R"(abc\012)", R"((?<n>a)\g{n}abc)", "(?x)abc #d",
          "(?i)abc", "abc(?#d)?e", "(?(?=a)b|c)abc", "(a(*ACCEPT)b)abc", R"(abc[\c]x]def])", "abc[[.a.]]",
          "[[.:][.:]|abc]"}) {
        EXPECT_THAT(literalRuns(pattern, true), IsEmpty()) << pattern;
        EXPECT_TRUE(hasTopLevelAlternation(pattern)) << pattern;
    }
    for (const char* pattern : {"(a|b)c", "[|]a", R"(a\|b)", "[)|(]", "((a)|b)c"})
        EXPECT_FALSE(hasTopLevelAlternation(pattern)) << pattern;
}

TEST(RegexLiterals, RequiresTheTrigramsOfAllRuns) {
    EXPECT_THAT(requiredTrigrams("ab+cd", true), IsEmpty());
    EXPECT_EQ(requiredTrigrams("colou?r", false), TrigramIndex::trigrams("colo"));
    EXPECT_EQ(requiredTrigrams("Abab.*(x|y)ab+a", true), TrigramIndex::trigrams("abab"));
}

/// Makes patterns of all kinds and texts that they are likely to match.
class PatternMaker {
public:
    explicit PatternMaker(unsigned seed) : random_(seed) {}

    std::string pattern(int depth = 0) {
        std::string made;
        for (unsigned items = 1 + random_() % 5; items > 0; --items)
            made += item(depth) + quantifiers();
        if (random_() % 12 == 0) made.append("|").append(pattern(depth + 1));
        return made;
    }

    /// The pattern's own characters, most of the special ones left out, some repeated, some in other case.
    std::string textFor(std::string_view pattern) {
        std::string text;
        for (const char c : pattern) {
            const bool isSpecial =
                std::string_view("\\()[]{}*+?|^$:=!<>QENpx#").find(c) != std::string_view::npos;
            if (random_() % 10 < (isSpecial ? 8U : 1U)) continue;
            for (unsigned count = random_() % 8 == 0 ? 2 : 1; count > 0; --count)
                text += random_() % 4 == 0 ? otherCase(c) : std::string(1, c);
        }
        return text;
    }

private:
    std::string item(int depth) {
        static constexpr std::array openings = {
            "(",    "(?:",   "(?=",   "(?!", "(?<=",  "(?<!",  "(?>",      "(?|",
            "(?i:", "(?-i:", "(?<n>", "(?#", "(?(1)", "(?x: ", "(*atomic:"};
        static constexpr std::array oddities = {
            "\\x61",  "\\Qa+\\E", "\\Q)b",  "\\E",  "\\cA",    "\\N{U+61}", "\\pL",      "\\p{Lu}",   "\\1",
            "\\g{1}", "\\o{141}", "\\0141", "(?i)", "(?x)",    "(?-i)",     "(*ACCEPT)", "(*COMMIT)", "(?R)",
            "#",      " ",        "\\K",    "\\N",  "[\\c]a]", "[\\Q]\\E]", "(?C)",      "\xFF",      "\\"};
        static constexpr std::array classes = {"[ab]",          "[^a]",        "[]a]",  "[^]a]",
                                               "[a\\]b]",       "[[:alpha:]]", "[[a]",  "[a(|]",
                                               "[[:^digit:]b]", "[\\d)]",      "[a-c]", "[[:a]"};
        static constexpr std::array escapes = {"\\d", "\\w", "\\.", "\\?", "\\(",
                                               "\\b", "\\S", "\\-", "\\_", "\\\u00E9"};
        static constexpr std::array literals = {"a",      "b",  "c", "A",    "k",      "S",
                                                "ab",     "bc", "]", "}",    "\u00E9", "\u00C9",
                                                "\u017F", "{",  "1", "{,2}", "{a}",    "\uFFFD"};
        switch (random_() % 16) {
            case 0:
            case 1:
                if (depth < 3) return fmt::format("{}{})", oneOf(openings), pattern(depth + 1));
                [[fallthrough]];
            case 2:
                return oneOf(classes);
            case 3:
            case 4:
                return oneOf(escapes);
            case 5:
                return random_() % 2 == 0 ? "." : (random_() % 2 == 0 ? "^" : "$");
            case 6:
                return oneOf(oddities);
            default:
                return oneOf(literals);
        }
    }

    std::string quantifiers() {
        static constexpr std::array forms = {"?",   "*",   "+",     "??",   "+?",  "++",
                                             "{0}", "{2}", "{0,1}", "{1,}", "{,1}"};
        std::string made;
        while (random_() % 4 == 0)
            made += oneOf(forms);
        return made;
    }

    std::string otherCase(char c) {
        if (c == 'k' || c == 'K') return "\u212A";
        if (c == 's' || c == 'S') return "\u017F";
        return {isAsciiLetter(static_cast<std::uint8_t>(c)) ? static_cast<char>(c ^ 0x20) : c};
    }

    template <std::size_t count>
    std::string oneOf(const std::array<const char*, count>& choices) {
        return choices[random_() % count];
    }

    std::mt19937 random_;
};

TEST(RegexLiterals, EveryMatchContainsEveryRun) {
    PatternMaker maker(1);
    int restrictedMatches = 0;
    for (int i = 0; i < 50'000; ++i) {
        const std::string pattern = maker.pattern();
        const bool caseSensitive = i % 2 == 0;
        const auto expression = RegularExpression::compile(pattern, caseSensitive);
        if (!expression) continue;
        const std::vector<std::string> runs = literalRuns(pattern, caseSensitive);
        if (runs.empty()) continue;
        for (int t = 0; t < 20; ++t) {
            const std::string text = maker.textFor(pattern);
            if (!expression->foundIn(text)) continue;
            ++restrictedMatches;
            for (const std::string& run : runs) {
                ASSERT_THAT(asciiFolded(text), testing::HasSubstr(asciiFolded(run)))
                    << "pattern " << pattern << ", case-sensitive " << caseSensitive;
            }
        }
    }
    EXPECT_GT(restrictedMatches, 20'000) << "the texts no longer match the patterns";
}

}  // namespace
}  // namespace dovra
