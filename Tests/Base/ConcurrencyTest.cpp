#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <stdexcept>
#include <stop_token>

#include "Base/Concurrency.hpp"

namespace dovra {
namespace {

TEST(ConcurrentPerform, RethrowsWhatAnIterationThrows) {
    const auto body = [](std::size_t i) {
        if (i == 50) throw std::runtime_error("50");
    };
    EXPECT_THROW(concurrentPerform(100, body), std::runtime_error);
    EXPECT_THROW(performOnNewThreads(100, body), std::runtime_error);
}

TEST(PerformInPieces, TakesEachPositionOnceUntilItIsToStop) {
    for (const std::size_t total : {0, 1, 99, 100, 101, 5000}) {
        std::vector<int> taken(total);
        performInPieces(total, 100, [&](std::size_t first, std::size_t last) {
            EXPECT_TRUE(first < last && last - first <= 100);
            for (std::size_t i = first; i < last; ++i)
                ++taken.at(i);
        });
        EXPECT_EQ(taken, std::vector<int>(total, 1));
    }
    std::stop_source stop;
    std::atomic<int> pieces = 0;
    const auto stopNow = [&](std::size_t, std::size_t) { ++pieces, stop.request_stop(); };
    performInPieces(1000, 1, stopNow, stop.get_token());
    EXPECT_LT(pieces, 1000);
}

TEST(ConcurrentSort, SortsAnyNumberOfValues) {
    std::mt19937 random(1);
    for (const std::size_t count : {0, 1, 1000, 32768, 32769, 100003}) {
        std::vector<std::size_t> sorted(count);
        std::iota(sorted.begin(), sorted.end(), 0);
        std::vector<std::size_t> values = sorted;
        std::shuffle(values.begin(), values.end(), random);
        concurrentSort(values, std::less());
        EXPECT_EQ(values, sorted) << count;
    }
}

}  // namespace
}  // namespace dovra
