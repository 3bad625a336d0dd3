#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

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

TEST(RegexLiterals, ReadsTheRunsOfCaseSensitivePatterns) {
    const std::pair<std::string_view, std::vector<std::string>> cases[] = {
        {"colou?r", {"colo", "r"}},
        {"ab+?cd++ef", {"ab", "cd", "ef"}},
        {R"(a\dbcd)", {"a", "bcd"}},
        {R"(a\.b\*?c)", {"a.b", "c"}},
        {"ab*c{2}de{,3}f{1,}g", {"a", "d", "g"}},
        {"a{b}c{,}d", {"a{b}c{,}d"}},
        {"foo(?!bar(x)[)])baz(?<=z)q", {"foo", "baz", "q"}},
        {"(?<name>abc)?de[]abc]fg[^]x]hi[[:alpha:])]jk[a\\]b]lm", {"de", "fg", "hi", "jk", "lm"}},
        {"caf\u00E9?s", {"caf", "s"}},
        {"\u00C9T\u00C9", {"\u00C9T\u00C9"}},
        {"xy\xFFzw", {"xy", "zw"}},
    };
    for (const auto& [pattern, runs] : cases)
        EXPECT_THAT(literalRuns(pattern, true), ElementsAreArray(runs)) << pattern;
}

TEST(RegexLiterals, BreaksRunsWhereCaselessLettersMatchOthers) {
    EXPECT_THAT(literalRuns("breakfast", false), ElementsAreArray({"brea", "fa", "t"}));
    EXPECT_THAT(literalRuns("caf\u00E9 noir", false), ElementsAreArray({"caf", " noir"}));
}

TEST(RegexLiterals, NoOtherCharacterMatchesAsciiFromOutside) {
    icu::UnicodeString others;
    for (UChar32 codePoint = 0x80; codePoint <= 0x10FFFF; ++codePoint) {
        if (!U_IS_SURROGATE(codePoint)) others.append(codePoint);
    }
    std::string allOthers;
    others.toUTF8String(allOthers);
    for (char c = 1; c < 127; ++c) {
        const std::string pattern = RegularExpression::escapedPattern({&c, 1});
        const bool isCertain = !literalRuns(pattern, false).empty();
        const bool hasPartner = RegularExpression::compile(pattern, false)->foundIn(allOthers);
        EXPECT_FALSE(isCertain && hasPartner) << pattern;
    }
}

// The fuzz target checks that no run is wrong, whatever the pattern.
TEST(RegexLiterals, SeesWhereAnAlternationEnds) {
    EXPECT_TRUE(hasTopLevelAlternation("abc|xyz"));
    for (const char* pattern : {"(a|b)c", "[|]a", R"(a\|b)", "[)|(]", "((a)|b)c"})
        EXPECT_FALSE(hasTopLevelAlternation(pattern)) << pattern;
}

TEST(RegexLiterals, RequiresTheTrigramsOfAllRuns) {
    EXPECT_THAT(requiredTrigrams("ab+cd", true), IsEmpty());
    EXPECT_EQ(requiredTrigrams("colou?r", false), TrigramIndex::trigrams("colo"));
    EXPECT_EQ(requiredTrigrams("Abab.*(x|y)ab+a", true), TrigramIndex::trigrams("abab"));
}

}  // namespace
}  // namespace dovra
