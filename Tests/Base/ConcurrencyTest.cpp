#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <stdexcept>

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
