#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

#include "Servers/Http/RelativeTime.hpp"
#include "Servers/Http/ShownText.hpp"
#include "Servers/Http/Treemap.hpp"

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

TEST(RelativeTime, SpeaksAsPeopleDo) {
    constexpr double day = 86400;
    struct Case {
        double age;
        const char* text;
    };
    for (const auto& [age, text] : std::initializer_list<Case>{{-90, "in the future"},
                                                               {-5, "just now"},
                                                               {59, "just now"},
                                                               {60, "1 minute ago"},
                                                               {3599, "59 minutes ago"},
                                                               {3600, "1 hour ago"},
                                                               {1.5 * day, "1 day ago"},
                                                               {13.9 * day, "13 days ago"},
                                                               {14 * day, "2 weeks ago"},
                                                               {100 * day, "3 months ago"},
                                                               {800 * day, "2 years ago"}})
        EXPECT_EQ(relativeTime(2e9 - age, 2e9), text);
    EXPECT_EQ(localTime(1e300), "");
}

TEST(Treemap, DividesTheFrameInProportion) {
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        std::vector<double> values(1 + random() % 40);
        for (double& value : values)
            value = std::pow(static_cast<double>(random() % 1000), 3);
        values.front() += 1;
        std::ranges::sort(values, std::greater{});
        const double sum = std::accumulate(values.begin(), values.end(), 0.0);
        const TreemapBox frame{.x = 10, .y = 20, .width = 300, .height = 100};
        const auto boxes = treemap(values, frame);
        ASSERT_EQ(boxes.size(), values.size());
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            const auto& [x, y, width, height] = boxes[i];
            EXPECT_NEAR(width * height, values[i] / sum * 30000, 1e-6);
            if (values[i] == 0) continue;
            EXPECT_TRUE(x > 9.999 && y > 19.999 && x + width < 310.001 && y + height < 120.001);
            for (std::size_t j = 0; j < i; ++j) {
                const double overlapX =
                    std::min(x + width, boxes[j].x + boxes[j].width) - std::max(x, boxes[j].x);
                const double overlapY =
                    std::min(y + height, boxes[j].y + boxes[j].height) - std::max(y, boxes[j].y);
                EXPECT_TRUE(overlapX < 1e-6 || overlapY < 1e-6);
            }
        }
    }
    EXPECT_NEAR(treemap(std::vector<double>{1, 1, 1, 1}, {0, 0, 2, 2}).back().width, 1, 1e-9) << "squares";
}

}  // namespace
}  // namespace dovra
