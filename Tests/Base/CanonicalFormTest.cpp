#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include "Base/CanonicalForm.hpp"

namespace dovra {
namespace {

/// The definition, step by step, by the library's operations on whole strings.
std::u16string slowForm(const icu::UnicodeString& text, bool foldCase) {
    UErrorCode status = U_ZERO_ERROR;
    const auto* decomposition = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString form = decomposition->normalize(text, status);
    if (foldCase) form = decomposition->normalize(form.foldCase(), status);
    return {form.getBuffer(), static_cast<std::size_t>(form.length())};
}

void expectSlowForm(CanonicalForm& form, const icu::UnicodeString& text) {
    std::string utf8;
    text.toUTF8String(utf8);
    for (const bool foldCase : {false, true})
        ASSERT_EQ(std::u16string(form.of(utf8, foldCase)), slowForm(text, foldCase)) << utf8;
}

TEST(CanonicalForm, IsRightForEveryCharacter) {
    CanonicalForm form;
    for (UChar32 character = 0; character <= 0x10FFFF; ++character) {
        if (U_IS_SURROGATE(character)) continue;
        const icu::UnicodeString text(character);
        ASSERT_NO_FATAL_FAILURE(expectSlowForm(form, text)) << character;
        ASSERT_LE(slowForm(text, true).size(), 2U * static_cast<unsigned>(U8_LENGTH(character)));
    }
}

/// Mostly letters and accents that change under folding or decomposition, in every order.
icu::UnicodeString randomText(std::mt19937& random) {
    const icu::UnicodeString fixed =
        icu::UnicodeString::fromUTF8("aßİΣᾳᾂΐが각ệ\u0344\u0345\u0301\u0323\u0315");
    icu::UnicodeString text;
    for (std::size_t length = random() % 12; length > 0; --length) {
        const unsigned kind = random() % 4;
        const auto place = static_cast<std::int32_t>(random() % static_cast<unsigned>(fixed.length()));
        if (kind == 0) text.append(fixed.char32At(place));
        if (kind == 1) text.append(static_cast<UChar32>(0x0300 + random() % 0x70));
        if (kind == 2) text.append(static_cast<UChar32>(0x1F00 + random() % 0x100));
        if (kind == 3)
            text.append(static_cast<UChar32>(random() % 5 == 0 ? 0x1D100 + random() % 0x100 : 'A'));
    }
    return text;
}

TEST(CanonicalForm, IsRightForTexts) {
    CanonicalForm form;
    std::mt19937 random(5);
    for (int round = 0; round < 50000; ++round)
        ASSERT_NO_FATAL_FAILURE(expectSlowForm(form, randomText(random)));
}

TEST(CanonicalForm, RepairsIllFormedText) {
    CanonicalForm form;
    EXPECT_EQ(form.of("A\xFFÉ\xE2\x82", true), u"a\uFFFDe\u0301\uFFFD");
    EXPECT_EQ(form.of("\xED\xA0\x80", false), u"\uFFFD\uFFFD\uFFFD");
}

TEST(CanonicalForm, MayBeMadeByManyThreadsAtOnce) {
    // The reference is set up here once: the thread sanitizer cannot see how the library guards that.
    slowForm("a", true);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            CanonicalForm form;
            for (UChar32 character = 0x3000; character < 0xA000; character += 7)
                ASSERT_NO_FATAL_FAILURE(expectSlowForm(form, icu::UnicodeString(character)));
        });
    }
}

}  // namespace
}  // namespace dovra
