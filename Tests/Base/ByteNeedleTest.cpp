#include <gtest/gtest.h>
#include <random>

#include "Base/AsciiFold.hpp"
#include "Base/ByteNeedle.hpp"

namespace dovra {
namespace {

bool slowlyFound(const std::string& needle, const std::string& text, bool caseSensitive) {
    return caseSensitive ? text.find(needle) != std::string::npos
                         : asciiFolded(text).find(asciiFolded(needle)) != std::string::npos;
}

// "@" and "`", "[" and "{" differ by the case bit alone, and the last one is no ASCII.
std::string randomText(std::mt19937& random, std::size_t length) {
    constexpr std::string_view alphabet = "aAbB@`[{\xC1";
    std::string text;
    for (std::size_t i = 0; i < length; ++i)
        text += alphabet[random() % alphabet.size()];
    return text;
}

TEST(ByteNeedle, FindsWhatASlowSearchFinds) {
    std::mt19937 random(1);
    int hits = 0;
    for (int round = 0; round < 20000; ++round) {
        const std::string text = randomText(random, random() % 300);
        const std::string needle = randomText(random, random() % 6);
        const bool caseSensitive = round % 2 == 0;
        const bool expected = slowlyFound(needle, text, caseSensitive);
        ASSERT_EQ(ByteNeedle(needle, caseSensitive).foundIn(text), expected) << needle << " in " << text;
        hits += expected ? 1 : 0;
    }
    EXPECT_GT(hits, 5000);
    EXPECT_LT(hits, 15000);
}

TEST(ByteNeedle, FindsTheNeedleAtEveryPosition) {
    const ByteNeedle needle("Needle", false);
    for (std::size_t length = 6; length < 200; ++length) {
        for (std::size_t at = 0; at + 6 <= length; ++at) {
            std::string text(length, 'e');
            text.replace(at, 6, "nEEdle");
            ASSERT_TRUE(needle.foundIn(text)) << at << " of " << length;
        }
    }
}

}  // namespace
}  // namespace dovra
