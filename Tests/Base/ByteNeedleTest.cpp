#include <gtest/gtest.h>
#include <random>

#include "Base/AsciiFold.hpp"
#include "Base/ByteNeedle.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

TEST(ByteNeedle, FindsWhatASlowSearchFinds) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        // "@" and "`", "[" and "{" differ by the case bit alone, and the last one is no ASCII.
        const std::string text = test::randomText(random, "aAbB@`[{\xC1", 0, 300);
        const std::string needle = test::randomText(random, "aAbB@`[{\xC1", 0, 5);
        ASSERT_EQ(ByteNeedle(needle, true).foundIn(text), text.find(needle) != std::string::npos)
            << needle << " in " << text;
        ASSERT_EQ(ByteNeedle(needle, false).foundIn(text),
                  asciiFolded(text).find(asciiFolded(needle)) != std::string::npos)
            << needle << " in " << text;
    }
}

}  // namespace
}  // namespace dovra
