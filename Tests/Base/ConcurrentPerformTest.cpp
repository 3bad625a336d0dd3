#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

#include "Base/ConcurrentPerform.hpp"

namespace dovra {
namespace {

TEST(ConcurrentPerform, CallsEveryIterationOnceBeforeItReturns) {
    for (const std::size_t iterations : {0, 1, 2, 1000}) {
        std::vector<int> calls(iterations);
        const auto body = [&](std::size_t i) { ++calls[i]; };
        concurrentPerform(iterations, body);
        performOnNewThreads(iterations, body);
        EXPECT_EQ(calls, std::vector<int>(iterations, 2));
    }
}

TEST(ConcurrentPerform, RethrowsWhatAnIterationThrows) {
    const auto body = [](std::size_t i) {
        if (i == 50) throw std::runtime_error("50");
    };
    EXPECT_THROW(concurrentPerform(100, body), std::runtime_error);
    EXPECT_THROW(performOnNewThreads(100, body), std::runtime_error);
}

}  // namespace
}  // namespace dovra
