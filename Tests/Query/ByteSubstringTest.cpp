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
    // One more byte than a shift can tell.
    const std::string needle = std::string(65535, 'a') + "b";
    const std::string text = std::string(70000, 'c') + needle;
    EXPECT_TRUE(ByteSubstring(needle, true).foundIn(text));
    EXPECT_FALSE(ByteSubstring(needle + "d", true).foundIn(text));
}

}  // namespace
}  // namespace dovra
