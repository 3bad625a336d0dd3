#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Base/AsciiFold.hpp"
#include "Query/ByteSubstring.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

TEST(ByteSubstring, FindsWhatAPlainSearchFinds) {
    std::mt19937 random(1);
    for (const std::string_view alphabet : {"aAb", "ab", "@`[{\xC1\xE1kK"}) {
        for (int i = 0; i < 20000; ++i) {
            const std::string text = test::randomText(random, alphabet, 0, 40);
            const std::string needle = test::randomText(random, alphabet, 0, i % 2 == 0 ? 3 : 8);
            ASSERT_EQ(ByteSubstring(needle, false).foundIn(text), text.find(needle) != std::string::npos)
                << needle << " in " << text;
            ASSERT_EQ(ByteSubstring(needle, true).foundIn(text),
                      asciiFolded(text).find(asciiFolded(needle)) != std::string::npos)
                << needle << " in " << text;
        }
    }
}

TEST(ByteSubstring, FindsNeedlesLongerThanTheLargestShift) {
    const std::string needle = std::string(70000, 'a') + "b";
    const std::string text = std::string(100000, 'a') + "bc" + needle.substr(1);
    EXPECT_TRUE(ByteSubstring(needle, true).foundIn(text));
    EXPECT_FALSE(ByteSubstring(needle + "d", true).foundIn(text));
}

TEST(BmhSkip, ShiftsToTheRightmostOccurrenceBeforeTheLastByte) {
    EXPECT_EQ(bmhSkip(""), std::vector<std::uint16_t>(256, 0));
    EXPECT_EQ(bmhSkip("x"), std::vector<std::uint16_t>(256, 1));
    std::vector<std::uint16_t> expected(256, 6);
    expected['a'] = 1;
    expected['b'] = 2;
    EXPECT_EQ(bmhSkip("ababa\xFF"), expected);
    EXPECT_EQ(bmhSkip("\xFF"
                      "baba\xFF")[0xFF],
              5);
    EXPECT_EQ(bmhSkip(std::string(70000, 'a'))['b'], 65535);
}

}  // namespace
}  // namespace dovra
