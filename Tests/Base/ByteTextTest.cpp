#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Base/ByteText.hpp"
#include "Base/Utf8.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

TEST(ByteText, EscapesOnlyWhatIsNotText) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"/a b/\xC3\xA9\n\x7F", "/a b/\xC3\xA9\n\x7F"},
        {"\xFF", std::string("\0FF", 3)},
        {"a\xC3", std::string("a\0C3", 4)},
        {"\xE2\x82z", std::string("\0E2\0"
                                  "82z",
                                  7)},
        {std::string(1, '\0'), std::string("\0"
                                           "00",
                                           3)},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(textFromBytes(bytes), text);
}

TEST(ByteText, GivesAllBytesBack) {
    std::mt19937 random(1);
    const std::string alphabet("\0aF0\xC3\xA9\xE2\x82\xAC\xED\xA0\xF4\x80\xFF", 14);
    for (int i = 0; i < 20000; ++i) {
        const std::string bytes = test::randomText(random, alphabet, 0, 12);
        const std::string text = textFromBytes(bytes);
        ASSERT_TRUE(isValidUtf8(text));
        ASSERT_EQ(bytesFromText(text), bytes);
    }
}

TEST(ByteText, RefusesTextThatItDoesNotWrite) {
    for (const std::string& text :
         {std::string("\0", 1), std::string("\0F", 2), std::string("\0ff", 3), std::string("\0 FF", 4),
          std::string("\0"
                      "41",
                      3),
          std::string("\0+8", 3), std::string("\0G0", 3), std::string("\xFF")})
        EXPECT_EQ(bytesFromText(text), std::nullopt) << testing::PrintToString(text);
}

}  // namespace
}  // namespace dovra
