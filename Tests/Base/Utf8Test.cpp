#include <gtest/gtest.h>
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

}  // namespace
}  // namespace dovra
