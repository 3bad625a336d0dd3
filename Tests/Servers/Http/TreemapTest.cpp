#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

#include "Servers/Http/Treemap.hpp"

namespace dovra {

namespace {

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
