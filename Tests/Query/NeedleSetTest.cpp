#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "Base/ByteNeedle.hpp"
#include "Query/NeedleSet.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

TEST(NeedleSet, FindsWhatItsNeedlesFindOneByOne) {
    std::mt19937 random(1);
    int hits = 0;
    for (int round = 0; round < 2000; ++round) {
        const std::string_view alphabet = round % 2 == 0 ? "aAb@`\xC1" : "abcdefgHIJK\xE1";
        const bool caseSensitive = round % 4 < 2;
        std::vector<std::string> needles;
        for (std::size_t count = 1 + random() % (round % 5 == 0 ? 300 : 6); count > 0; --count)
            needles.push_back(
                test::randomText(random, alphabet, 1 + random() % 6, round % 50 == 0 ? 400 : 9));
        const NeedleSet set(std::vector<std::string_view>(needles.begin(), needles.end()), caseSensitive);
        for (int i = 0; i < 20; ++i) {
            std::string text = test::randomText(random, alphabet, 0, 30);
            if (i % 4 == 0) text += needles.back() + "a";
            const bool expected = std::ranges::any_of(needles, [&](const std::string& needle) {
                return ByteNeedle(needle, caseSensitive).foundIn(text);
            });
            ASSERT_EQ(set.foundIn(text), expected) << text;
            hits += expected ? 1 : 0;
        }
    }
    EXPECT_GT(hits, 5000);
    EXPECT_LT(hits, 35000);
}

}  // namespace
}  // namespace dovra
