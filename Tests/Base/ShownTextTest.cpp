#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Base/ShownText.hpp"

namespace dovra {

std::ostream& operator<<(std::ostream& out, const ShownPiece& piece) {
    return out << piece.text << (piece.isMarked ? " marked" : "") << (piece.isEscape ? " escape" : "");
}

namespace {

TEST(ShownText, LeavesNothingThatCannotBeSeen) {
    struct Case {
        std::string bytes;
        std::string shown;
    };
    for (const auto& [bytes, shown] : std::initializer_list<Case>{
             {"plain \xC3\xA9\xE2\x82\xAC", "plain \xC3\xA9\xE2\x82\xAC"},
             {"a\nb\x7F\x1B[2J", "a\\nb\\x7F\\x1B[2J"},
             {"gpj.\xE2\x80\xAE"
              "exe",
              "gpj.\\u202Eexe"},
             {"a\xE2\x80\xA9\xEF\xBB\xBF\xC2\xAD", "a\\u2029\\uFEFF\\u00AD"},
             {"\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB", "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB"},
             {"\xFF\xE2\x82.", "\xEF\xBF\xBD\xEF\xBF\xBD."},
         })
        EXPECT_EQ(shownText(bytes), shown);
    using Pieces = std::vector<ShownPiece>;
    const std::vector<TextRange> marks = {{1, 4}, {5, 6}};
    EXPECT_EQ(shownPieces("ab\tcde", marks),
              (Pieces{{"a"}, {"b", true}, {"\\t", true, true}, {"c", true}, {"d"}, {"e", true}}));
}

}  // namespace
}  // namespace dovra
