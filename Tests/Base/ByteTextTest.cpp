#include <gtest/gtest.h>
#include <string>

#include "Base/ByteText.hpp"

namespace dovra {
namespace {

using std::string_literals::operator""s;

TEST(ByteText, EscapesOnlyWhatIsNotText) {
    EXPECT_EQ(textFromBytes("/a b/\xC3\xA9\n\x7F"), "/a b/\xC3\xA9\n\x7F");
    EXPECT_EQ(textFromBytes("\xE2\x82z\0"s), "\0E2\0\x38\x32z\0\x30\x30"s);
}

TEST(ByteText, RefusesTextThatItDoesNotWrite) {
    for (const std::string& text :
         {"\0"s, "\0F"s, "\0ff"s, "\0 FF"s, "\0\x34\x31"s, "\0+8"s, "\0G0"s, "\xFF"s})
        EXPECT_EQ(bytesFromText(text), std::nullopt) << testing::PrintToString(text);
}

}  // namespace
}  // namespace dovra
