#include <gtest/gtest.h>
#include <random>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include "Base/UnicodeFold.hpp"
#include "Base/Utf8.hpp"

namespace dovra {
namespace {

TEST(Lowercased, MapsAllScriptsAndRepairs) {
    EXPECT_EQ(lowercased("Read ME_09[]"), "read me_09[]");
    EXPECT_EQ(lowercased("ÉCOLE ЖУК"), "école жук");
    EXPECT_EQ(lowercased("ΟΔΟΣ"), "οδος");
    EXPECT_EQ(lowercased("İ"), "i̇");
    EXPECT_EQ(lowercased("A\xFFÄ\xE2\x82"), "a\uFFFDä\uFFFD");
}

struct Case {
    const char* needle;
    const char* haystack;
    bool ignoringCase;
    bool exactly;
};

class UnicodeNeedleCases : public testing::TestWithParam<Case> {};

TEST_P(UnicodeNeedleCases, Match) {
    const auto& [needle, haystack, ignoringCase, exactly] = GetParam();
    EXPECT_EQ(UnicodeNeedle(needle, false).foundIn(haystack), ignoringCase) << needle << " in " << haystack;
    EXPECT_EQ(UnicodeNeedle(needle, true).foundIn(haystack), exactly) << needle << " in " << haystack;
}

INSTANTIATE_TEST_SUITE_P(
    All, UnicodeNeedleCases,
    testing::Values(
        Case{"", "", true, true}, Case{"", "ü", true, true}, Case{"é", "", false, false},
        Case{"école", "L'ÉCOLE.txt", true, false}, Case{"école", "L'e\u0301cole.txt", true, true},
        Case{"E\u0301cole", "école", true, false}, Case{"straße", "STRASSE", true, false},
        Case{"STRASSE", "Große Straße", true, false}, Case{"σ", "ΟΔΟΣ", true, false},
        Case{"\u212A", "disk", true, false}, Case{"\u212A", "disK", true, true},
        Case{"\u212A", "disK é", true, true}, Case{"ﬁ", "FIle", true, false},
        // The iota below is a letter of its own once folded, whatever stands above and in either order.
        Case{"\u1F80", "\u03B1\u0345\u0313", true, true}, Case{"\u1F80", "\u1F00\u0399", true, false},
        // A letter is not found within a letter that is composed from it.
        Case{"и", "й", false, false}, Case{"и", "и\u0306", false, false}, Case{"и", "йи", true, true},
        Case{"か", "がく", false, false}, Case{"하", "한국", false, false}, Case{"한", "한국", true, true},
        Case{"\u0301", "é", true, true}, Case{"é", "ết", false, false},
        // Marks of different classes come in one order only.
        Case{"a\u0323\u0302", "ậ", true, true}, Case{"a\u0302\u0323", "ậ", true, true},
        // Compared after repair.
        Case{"é", "\xFFÉ\xC3", true, false}, Case{"\uFFFD", "é\xFF", true, true},
        Case{"𐐀", "𐐨", true, false}));

TEST(UnicodeNeedle, KnowsWhetherPlainAsciiCanHoldIt) {
    EXPECT_TRUE(UnicodeNeedle("Straße", false).foldedIsAscii());
    EXPECT_FALSE(UnicodeNeedle("Straße", true).foldedIsAscii());
    EXPECT_FALSE(UnicodeNeedle("é", false).foldedIsAscii());
}

icu::UnicodeString randomText(std::mt19937& random, int length) {
    const icu::UnicodeString alphabet = icu::UnicodeString::fromUTF8("aéÉеёЁßǰΐがか한ệ\u0301\u0323\u1100𝅗𝅥/");
    icu::UnicodeString text;
    for (int i = 0; i < length; ++i) {
        const auto place =
            static_cast<std::int32_t>(random() % static_cast<unsigned>(alphabet.countChar32()));
        text.append(alphabet.char32At(alphabet.moveIndex32(0, place)));
    }
    return text;
}

std::string utf8(const icu::UnicodeString& text) {
    std::string bytes;
    return text.toUTF8String(bytes);
}

/// The same text as another program might have written it.
std::string disguised(std::mt19937& random, const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    const auto* form = random() % 2 == 0 ? icu::Normalizer2::getNFCInstance(status)
                                         : icu::Normalizer2::getNFDInstance(status);
    return utf8(form->normalize(text, status));
}

TEST(UnicodeNeedle, FindsItselfInAnyForm) {
    std::mt19937 random(2);
    for (int round = 0; round < 3000; ++round) {
        const icu::UnicodeString needle = randomText(random, 1 + static_cast<int>(random() % 6));
        // Slashes around it keep the surroundings from composing with it.
        const icu::UnicodeString around = randomText(random, static_cast<int>(random() % 6));
        const icu::UnicodeString text = around + "/" + needle + "/" + around;
        const std::string disguise = disguised(random, text);
        ASSERT_TRUE(UnicodeNeedle(utf8(needle), true).foundIn(disguise))
            << utf8(needle) << " in " << disguise;
        const UnicodeNeedle ignoringCase(utf8(needle), false);
        const std::string upper = disguised(random, icu::UnicodeString(text).toUpper(icu::Locale::getRoot()));
        ASSERT_TRUE(ignoringCase.foundIn(upper)) << utf8(needle) << " in " << upper;
        ASSERT_TRUE(ignoringCase.foundIn(disguise)) << utf8(needle) << " in " << disguise;
        ASSERT_LE(disguised(random, needle).size(), ignoringCase.longestMatchBytes());
    }
}

TEST(UnicodeNeedle, CutsOnlyBetweenCharactersThatDoNotCompose) {
    EXPECT_EQ(UnicodeNeedle::lastCut("abc"), 2);
    EXPECT_EQ(UnicodeNeedle::lastCut("abe\u0301"), 2);
    EXPECT_EQ(UnicodeNeedle::lastCut("abé"), 2);
    EXPECT_EQ(UnicodeNeedle::lastCut("ab\xE2\x82"), 1);
    EXPECT_EQ(UnicodeNeedle::lastCut("ab\u1112\u1161\u11AB"), 2);
    EXPECT_EQ(UnicodeNeedle::lastCut("a"), 0);
    EXPECT_EQ(UnicodeNeedle::lastCut(""), 0);
    EXPECT_EQ(UnicodeNeedle::lastCut(std::string(9, '\xFF')), 5);
    std::string marks = "a";
    for (int i = 0; i < 2000; ++i)
        marks += "\u0301";
    EXPECT_EQ(UnicodeNeedle::lastCut(marks), marks.size());
}

}  // namespace
}  // namespace dovra
