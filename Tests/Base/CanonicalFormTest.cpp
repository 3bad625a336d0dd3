#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include "Base/CanonicalForm.hpp"

namespace dovra {
namespace {

/// The definition, step by step, with the library's operations on whole strings.
std::u16string slowForm(const icu::UnicodeString& text, bool foldCase) {
    UErrorCode status = U_ZERO_ERROR;
    const auto* decomposition = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString form = decomposition->normalize(text, status);
    if (foldCase) form = decomposition->normalize(form.foldCase(), status);
    return {form.getBuffer(), static_cast<std::size_t>(form.length())};
}

void expectSlowForm(CanonicalForm& form, UChar32 character) {
    ASSERT_LE(slowForm(character, true).size(), 2U * static_cast<unsigned>(U8_LENGTH(character)));
    // The accents that follow are in the wrong order, and must be put in order.
    const icu::UnicodeString text = icu::UnicodeString(character) + u"\u0345\u0301\u0323";
    std::string utf8;
    text.toUTF8String(utf8);
    for (const bool foldCase : {false, true})
        ASSERT_EQ(std::u16string(form.of(utf8, foldCase)), slowForm(text, foldCase)) << utf8;
}

TEST(CanonicalForm, IsRightForEveryCharacterOnManyThreadsAtOnce) {
    // Sets up the reference once, here: the thread sanitizer does not see the library's own guard.
    slowForm("a", true);
    std::vector<std::jthread> threads;
    for (UChar32 first = 0; first < 4; ++first) {
        threads.emplace_back([first] {
            CanonicalForm form;
            for (UChar32 character = first; character <= 0x10FFFF; character += 4) {
                if (U_IS_SURROGATE(character)) continue;
                ASSERT_NO_FATAL_FAILURE(expectSlowForm(form, character));
            }
        });
    }
}

TEST(CanonicalForm, RepairsIllFormedText) {
    CanonicalForm form;
    EXPECT_EQ(form.of("A\xFFÉ\xE2\x82", true), u"a\uFFFDe\u0301\uFFFD");
    EXPECT_EQ(form.of("\xED\xA0\x80", false), u"\uFFFD\uFFFD\uFFFD");
}

}  // namespace
}  // namespace dovra
