#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

#include "Platform/MainQueue.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;

TEST(MainQueue, RunsWhatIsDueInOrderAndWakesOnlyForEarlierWork) {
    MainQueue::Time now{1h};
    int wakes = 0;
    MainQueue queue([&] { ++wakes; }, [&] { return now; });
    std::vector<int> ran;
    const auto adds = [&](int number) { return [&, number] { ran.push_back(number); }; };
    queue.asyncAfter(20ms, adds(3));
    queue.asyncAfter(30ms, adds(4));
    EXPECT_EQ(wakes, 1);
    queue.async([&] { queue.async(adds(2)); });
    queue.async(adds(1));
    EXPECT_EQ(wakes, 2);
    EXPECT_EQ(queue.run(), now) << "what work hands over is left to the next turn";
    EXPECT_EQ(wakes, 3);
    EXPECT_EQ(queue.run(), now + 20ms);
    now += 25ms;
    EXPECT_EQ(queue.run(), now + 5ms);
    now += 5ms;
    EXPECT_EQ(queue.run(), MainQueue::Time::max());
    EXPECT_THAT(ran, testing::ElementsAre(1, 2, 3, 4));
}

}  // namespace
}  // namespace dovra
