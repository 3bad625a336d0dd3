#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "Desktop/Model/PanelText.hpp"
#include "Desktop/Model/RowText.hpp"

namespace dovra {
namespace {

std::string footerLine(const SearchState& state) {
    const auto [progress, matches, fuzzy, note] = footer(state);
    return fmt::format("{}/{}/{}/{}", progress, matches, fuzzy, note);
}

TEST(PanelText, TellsWhatStandsThereAndHowFarTheSearchIs) {
    SearchState state;
    EXPECT_EQ(panelBody(state), PanelBody::start);
    EXPECT_EQ(footerLine(state), "///");
    state.query = "rpt";
    for (const char* answered : {"", "rp"}) {
        EXPECT_EQ(panelBody(state), PanelBody::results) << "not answered yet";
        state.answered = answered;
    }
    state.answered = "rpt";
    EXPECT_EQ(panelBody(state), PanelBody::nothing);
    EXPECT_EQ(footerLine(state), "/0 matches//");
    state.rows.resize(1);
    state.totalMatches = 1;
    EXPECT_EQ(footerLine(state), "/1 match//");
    state.totalMatches = 12345;
    state.isIndexing = true;
    state.indexedCount = 1000;
    state.usedFuzzyFallback = true;
    state.notice = "fault";
    EXPECT_EQ(panelBody(state), PanelBody::results);
    EXPECT_EQ(footerLine(state), "Weaving index… 1,000/first 1 of 12,345 matches/fuzzy/fault");
    EXPECT_EQ(nothingMatches("a\nb"), "Nothing matches “a\\nb”");
}

TEST(RowText, MarksWhatTheRowsAnswerAndShowsEveryNameSafely) {
    SearchState state;
    state.query = "another query by now";
    state.answered = "ac";
    FileRow row{.name = "Abc\xFF\n", .path = "/\u202E", .size = 1500};
    for (const char* expected : {"Abc\uFFFD\\n/\\u202E2 KB1 minute ago", "[A]b[c]\uFFFD\\n/\\u202E"}) {
        const RowText text = RowTexts(state).of(row, 90);
        std::string shown;
        for (const ShownPiece& piece : text.name)
            shown += piece.isMarked ? "[" + piece.text + "]" : piece.text;
        EXPECT_EQ(shown + text.path + text.size + text.date, expected);
        state.usedFuzzyFallback = row.isDir = true;
        row.modified = 1e300;
    }
}

}  // namespace
}  // namespace dovra
