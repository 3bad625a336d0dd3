#include <gtest/gtest.h>

#include "Diagnostics/Latency.hpp"

namespace dovra {
namespace {

TEST(LatencyTest, PercentilesAreTheNearestRanks) {
    std::vector<double> shuffled(200);
    for (int i = 0; i < 200; ++i)
        shuffled[static_cast<std::size_t>(i)] = 1 + i * 77 % 200;  // 1 to 200 in disorder
    const Latency latency(shuffled);
    EXPECT_EQ(latency.minimum(), 1);
    EXPECT_EQ(latency.median(), 100);
    EXPECT_EQ(latency.percentile(99), 198);
    EXPECT_EQ(latency.percentile(100), 200);
    EXPECT_EQ(Latency({7}).percentile(1), 7);
    EXPECT_EQ(Latency({7}).percentile(99), 7);
    EXPECT_EQ(Latency({9, 1, 5}).median(), 5);
}

TEST(LatencyTest, RepetitionsAreBoundedByNumberAndTime) {
    const auto runsWithin = [](std::chrono::duration<double> time, std::size_t atLeast, std::size_t atMost) {
        std::size_t calls = 0;
        const auto latency = Latency::measure({time, atLeast, atMost}, [&] { ++calls; });
        EXPECT_EQ(latency.runs(), calls);
        return calls;
    };
    EXPECT_EQ(runsWithin(std::chrono::seconds(0), 3, 10), 3U);
    EXPECT_EQ(runsWithin(std::chrono::hours(1), 3, 10), 10U);
}

}  // namespace
}  // namespace dovra
