#include <chrono>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Platform/EventStream.hpp"
#include "Support/FakeEventSource.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using test::FakeEventSource;
using testing::ElementsAre;
using testing::IsEmpty;
using Clock = std::chrono::steady_clock;

/// What a stream delivered, and when.
class Deliveries {
public:
    EventStream::Deliver receiver() {
        return [this](const ChangeBatch& batch) {
            const std::scoped_lock lock(mutex_);
            batches_.push_back(batch.paths);
            times_.push_back(Clock::now());
        };
    }
    std::vector<std::vector<std::string>> batches() const {
        const std::scoped_lock lock(mutex_);
        return batches_;
    }
    std::vector<Clock::time_point> times() const {
        const std::scoped_lock lock(mutex_);
        return times_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::vector<std::string>> batches_;
    std::vector<Clock::time_point> times_;
};

class EventStreamTest : public testing::Test {
protected:
    explicit EventStreamTest(std::chrono::milliseconds latency = 10s)
        : stream(std::make_unique<FakeEventSource>(changes), latency) {}

    const std::shared_ptr<test::FakeChanges> changes = std::make_shared<test::FakeChanges>();
    Deliveries deliveries;
    EventStream stream;
};

TEST_F(EventStreamTest, GathersUntilItIsLive) {
    changes->add("/a");
    EXPECT_FALSE(stream.flush(1s)) << "nobody listens";
    changes->add("/a");
    changes->add("/b");
    stream.goLive(deliveries.receiver());
    EXPECT_TRUE(stream.flush(5s));
    EXPECT_THAT(deliveries.batches(), ElementsAre(testing::UnorderedElementsAre("/a", "/b")));
}

TEST_F(EventStreamTest, DeliversTheFirstChangeAtOnceAndAFlushAllOthers) {
    stream.goLive(deliveries.receiver());
    const auto start = Clock::now();
    changes->add("/first");
    ASSERT_TRUE(test::waitUntil([&] { return !deliveries.batches().empty(); }));
    EXPECT_LT(Clock::now() - start, 5s);
    for (int i = 0; i < 3; ++i) {
        changes->add(fmt::format("/{}", i));
        ASSERT_TRUE(stream.flush(5s));
        EXPECT_THAT(deliveries.batches().back(), ElementsAre(fmt::format("/{}", i)));
    }
    EXPECT_TRUE(stream.flush(5s));
    EXPECT_EQ(deliveries.batches().size(), 4U) << "no batch is empty";
}

TEST_F(EventStreamTest, DropsWhatNobodyTookWhenItEnds) {
    {
        EventStream ended(std::make_unique<FakeEventSource>(changes), 10s);
        changes->add("/a");
    }
    EXPECT_THAT(deliveries.batches(), IsEmpty());
}

class FastEventStreamTest : public EventStreamTest {
protected:
    FastEventStreamTest() : EventStreamTest(100ms) {}
};

TEST_F(FastEventStreamTest, DeliversAtMostOnceInEachLatency) {
    stream.goLive(deliveries.receiver());
    ASSERT_TRUE(test::waitUntil([&] {
        changes->add("/busy");
        return deliveries.batches().size() >= 4;
    }));
    const auto times = deliveries.times();
    for (std::size_t i = 1; i < times.size(); ++i)
        EXPECT_GE(times[i] - times[i - 1], 99ms);
}

}  // namespace
}  // namespace dovra
