#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>

#include "Base/Utf8.hpp"

namespace dovra {
namespace {

using namespace std::string_view_literals;

TEST(TrimmedWhiteSpace, DropsBothEndsAndNothingBetween) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", ""},
        {" \t\r\n\v\f", ""},
        {"  a b\n", "a b"},
        {"\u00A0\u2003\u3000\u2028\u0085x\u2029", "x"},
        {"\u200Bx", "\u200Bx"},  // without width, but no white space
        {" \xFF ", "\xFF"},
        {"\xE2\x80", "\xE2\x80"},  // the start of white space is none
        {" \0 "sv, "\0"sv},
    };
    for (const auto& [text, trimmed] : cases)
        EXPECT_EQ(trimmedWhiteSpace(text), trimmed) << text;
}

TEST(DisplayColumns, CountsWhatATerminalShows) {
    const std::pair<std::string_view, std::size_t> cases[] = {
        {"", 0},           {"abc", 3},   {"\u00E9", 1}, {"e\u0301", 1}, {"\u65E5\u672C", 4},
        {"\U0001F600", 2}, {"a\xFF", 2},
    };
    for (const auto& [text, columns] : cases)
        EXPECT_EQ(displayColumns(text), columns) << text;
}

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
