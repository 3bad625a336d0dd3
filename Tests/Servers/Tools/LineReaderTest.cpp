#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Servers/Tools/LineReader.hpp"

namespace dovra {
namespace {

/// The lines of a text that comes in pieces of that size. A line that is too long shows as "!".
std::vector<std::string> linesOf(std::string_view text, std::size_t pieceBytes, std::size_t mostBytes) {
    LineReader reader(
        [&](std::span<char> destination) {
            const std::string_view piece = text.substr(0, std::min(pieceBytes, destination.size()));
            text.remove_prefix(piece.size());
            std::ranges::copy(piece, destination.begin());
            return piece.size();
        },
        mostBytes);
    std::vector<std::string> lines;
    while (const auto line = reader.next()) {
        EXPECT_TRUE(!line->isTooLong || line->text.empty());
        lines.push_back(line->isTooLong ? "!" : line->text);
    }
    return lines;
}

TEST(LineReader, CutsLinesHoweverTheyArrive) {
    using testing::ElementsAre;
    for (const std::size_t piece : {1U, 2U, 3U, 5U, 100U}) {
        EXPECT_THAT(linesOf("", piece, 4), ElementsAre());
        EXPECT_THAT(linesOf("\n", piece, 4), ElementsAre(""));
        EXPECT_THAT(linesOf("ab\n\nabcd", piece, 4), ElementsAre("ab", "", "abcd"));
        EXPECT_THAT(linesOf("abcd\nabcde\nx\n", piece, 4), ElementsAre("abcd", "!", "x"));
        EXPECT_THAT(linesOf("x\nabcdefghi", piece, 4), ElementsAre("x", "!"));
    }
    EXPECT_THAT(linesOf(std::string(200'000, 'a') + "\nb", 1'000'000, 200'000),
                ElementsAre(std::string(200'000, 'a'), "b"));
}

}  // namespace
}  // namespace dovra
