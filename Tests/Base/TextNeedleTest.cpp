#include <fmt/format.h>
#include <gtest/gtest.h>
#include <initializer_list>
#include <random>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include "Base/TextNeedle.hpp"

namespace dovra {
namespace {

TEST(Lowercased, MapsAllScriptsAndRepairs) {
    EXPECT_EQ(lowercased("Read ME_09[] ÉCOLE ЖУК"), "read me_09[] école жук");
    EXPECT_EQ(lowercased("ΟΔΟΣ"), "οδος");
    EXPECT_EQ(lowercased("İ"), "i̇");
    EXPECT_EQ(lowercased("A\xFFÄ\xE2\x82"), "a\uFFFDä\uFFFD");
}

TEST(UnicodeNeedle, MatchesWholeCharactersInAnyForm) {
    struct Case {
        const char *needle, *haystack;
        bool ignoringCase, exactly;
    };
    const std::initializer_list<Case> cases = {
        Case{"", "ü", true, true}, Case{"é", "", false, false},
        Case{"école", "L'e\u0301cole.txt", true, true}, Case{"E\u0301cole", "école", true, false},
        Case{"straße", "STRASSE", true, false}, Case{"STRASSE", "Große Straße", true, false},
        Case{"\u212A", "disk", true, false}, Case{"\u212A", "disK é", true, true},
        Case{"ﬁ", "FIle", true, false},
        // The iota below is folded to a letter of its own, with or without marks above, before or behind it.
        Case{"\u1F80", "\u03B1\u0345\u0313", true, true}, Case{"\u1F80", "\u1F00\u0399", true, false},
        // A letter is not found within a letter that is composed from it.
        Case{"и", "й", false, false}, Case{"и", "и\u0306", false, false}, Case{"и", "йи", true, true},
        Case{"か", "がく", false, false}, Case{"하", "한국", false, false}, Case{"é", "ết", false, false},
        Case{"\u0301", "é", true, true}, Case{"a\u0302\u0323", "ậ", true, true},
        // Compared after repair.
        Case{"é", "\xFFÉ\xC3", true, false}, Case{"\uFFFD", "é\xFF", true, true}};
    for (const auto& [needle, haystack, ignoringCase, exactly] : cases) {
        EXPECT_EQ(UnicodeNeedle(needle, false).foundIn(haystack), ignoringCase)
            << needle << " in " << haystack;
        EXPECT_EQ(UnicodeNeedle(needle, true).foundIn(haystack), exactly) << needle << " in " << haystack;
    }
    EXPECT_TRUE(UnicodeNeedle("Straße", false).foldedIsAscii());
    EXPECT_FALSE(UnicodeNeedle("Straße", true).foldedIsAscii());
}

std::string randomText(std::mt19937& random) {
    constexpr const char* letters[] = {"a",  "é",  "É",  "е", "ё",      "Ё",      "ß",          "ǰ", "ΐ",
                                       "が", "か", "한", "ệ", "\u0301", "\u0323", "\U0001D15E", "/"};
    std::string text;
    for (std::size_t length = random() % 6; length > 0; --length)
        text += letters[random() % std::size(letters)];
    return text;
}

/// The same text as another program might have written it.
std::string disguised(std::mt19937& random, const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    const auto* form = random() % 2 == 0 ? icu::Normalizer2::getNFCInstance(status)
                                         : icu::Normalizer2::getNFDInstance(status);
    std::string bytes;
    return form->normalize(text, status).toUTF8String(bytes);
}

TEST(UnicodeNeedle, FindsItselfInAnyForm) {
    std::mt19937 random(2);
    for (int round = 0; round < 3000; ++round) {
        const std::string needle = randomText(random);
        // Slashes around it keep the surroundings from composing with it.
        const auto text = icu::UnicodeString::fromUTF8(
            fmt::format("{}/{}/{}", randomText(random), needle, randomText(random)));
        const std::string disguise = disguised(random, text);
        ASSERT_TRUE(UnicodeNeedle(needle, true).foundIn(disguise)) << needle << " in " << disguise;
        const UnicodeNeedle ignoringCase(needle, false);
        const std::string upper = disguised(random, icu::UnicodeString(text).toUpper(icu::Locale::getRoot()));
        ASSERT_TRUE(ignoringCase.foundIn(upper)) << needle << " in " << upper;
        ASSERT_TRUE(ignoringCase.foundIn(disguise)) << needle << " in " << disguise;
        ASSERT_LE(disguised(random, icu::UnicodeString::fromUTF8(needle)).size(),
                  ignoringCase.longestMatchBytes());
    }
}

TEST(UnicodeNeedle, CutsOnlyBetweenCharactersThatDoNotCompose) {
    EXPECT_EQ(UnicodeNeedle::lastCut("abc"), 2);
    EXPECT_EQ(UnicodeNeedle::lastCut("abe\u0301"), 2);
    EXPECT_EQ(UnicodeNeedle::lastCut("ab\xE2\x82"), 1);
    EXPECT_EQ(UnicodeNeedle::lastCut("ab\u1112\u1161\u11AB"), 2);
    EXPECT_EQ(UnicodeNeedle::lastCut("a"), 0);
    EXPECT_EQ(UnicodeNeedle::lastCut(""), 0);
    EXPECT_EQ(UnicodeNeedle::lastCut(std::string(9, '\xFF')), 5);
    const std::string marks = fmt::format("a{:\u0301>2000}", "");
    EXPECT_EQ(UnicodeNeedle::lastCut(marks), marks.size());
}

}  // namespace
}  // namespace dovra
