#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Platform/EventStream.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Clock = std::chrono::steady_clock;

/// What the system tells, between a test and the thread of a stream.
class Changes {
public:
    void add(const std::string& path) {
        const std::scoped_lock lock(mutex_);
        waiting_.addPath(path);
        wakeLocked();
    }
    void wake() {
        const std::scoped_lock lock(mutex_);
        wakeLocked();
    }
    void wait(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, timeout, [&] { return isAwake_; });
        isAwake_ = false;
    }
    void moveTo(ChangeSet& taken) {
        const std::scoped_lock lock(mutex_);
        taken.add(waiting_.take());
        ++drains;
    }

    std::mutex holding;  ///< who has it keeps the source from answering
    std::atomic<int> drains = 0;
    std::atomic<int> answers = 0;

private:
    void wakeLocked() {
        isAwake_ = true;
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    ChangeSet waiting_;
    bool isAwake_ = false;
};

class Source final : public EventSource {
public:
    explicit Source(Changes& changes) : changes_(changes) {}

    void wait(std::chrono::milliseconds timeout) override { changes_.wait(timeout); }
    void wake() override { changes_.wake(); }
    void drain() override { changes_.moveTo(drained_); }
    bool hasChanges() const override { return !drained_.empty(); }
    std::optional<ChangeBatch> take(std::chrono::milliseconds) override {
        const std::scoped_lock held(changes_.holding);
        drain();
        ++changes_.answers;
        return drained_.take();
    }
    std::vector<std::string> polledTrees() const override { return {"/polled"}; }
    std::string coverage() const override { return fmt::format("answered {}", changes_.answers); }

private:
    Changes& changes_;
    ChangeSet drained_;
};

class EventStreamTest : public testing::Test {
protected:
    void open(std::chrono::milliseconds latency) {
        stream.emplace([this](const std::stop_token&) { return std::make_unique<Source>(changes); },
                       [this] { ++rings; }, stop.get_token(), latency);
        ASSERT_TRUE(ringsAgain(0));
        EXPECT_EQ(stream->state(), ChangeFeed::State::open);
    }

    bool ringsAgain(int before) {
        return test::waitUntil([&] { return rings > before; });
    }

    Changes changes;
    std::atomic<int> rings = 0;
    std::stop_source stop;
    std::optional<EventStream> stream;
};

TEST_F(EventStreamTest, GathersUntilSomebodyTakes) {
    open(10s);
    EXPECT_EQ(stream->coverage(), "answered 0");
    EXPECT_THAT(stream->polledTrees(), ElementsAre("/polled"));
    changes.add("/a");
    EXPECT_TRUE(ringsAgain(1)) << "the first change of a quiet period";
    changes.add("/b");
    for (int i = 0; i < 3; ++i) {
        const int before = changes.drains;
        changes.wake();
        EXPECT_TRUE(test::waitUntil([&] { return changes.drains > before; }));
    }
    EXPECT_EQ(rings, 2) << "until it is taken";
    EXPECT_THAT(stream->take(5s)->paths, UnorderedElementsAre("/a", "/b"));
    EXPECT_EQ(stream->coverage(), "answered 1");
    EXPECT_THAT(stream->take(5s)->paths, IsEmpty());
    for (const char* path : {"/c", "/d"}) {
        changes.add(path);
        EXPECT_THAT(stream->take(5s)->paths, ElementsAre(path)) << "without the latency";
    }
    EXPECT_EQ(rings, 2);
}

TEST_F(EventStreamTest, RingsAtMostOnceInEachLatency) {
    open(100ms);
    for (int i = 0; i < 3; ++i) {
        const int before = rings;
        const auto taken = Clock::now();
        EXPECT_TRUE(stream->take(5s));
        changes.add("/busy");
        ASSERT_TRUE(ringsAgain(before));
        EXPECT_GE(Clock::now() - taken, 99ms);
    }
}

TEST_F(EventStreamTest, WhatComesTooLateForOneTakingComesWithTheNext) {
    open(10s);
    changes.add("/late");
    {
        const std::scoped_lock held(changes.holding);
        EXPECT_FALSE(stream->take(20ms));
    }
    EXPECT_TRUE(test::waitUntil([&] { return stream->coverage() == "answered 1"; }));
    EXPECT_THAT(stream->take(5s)->paths, ElementsAre("/late"));
    stop.request_stop();
    const auto start = Clock::now();
    EXPECT_FALSE(stream->take(1min));
    EXPECT_LT(Clock::now() - start, 30s);
}

TEST(EventStream, TellsThatThereIsNothingToWatch) {
    std::atomic<bool> hasRung = false;
    EventStream stream([](const std::stop_token&) { return nullptr; }, [&] { hasRung = true; });
    EXPECT_TRUE(test::waitUntil([&] { return hasRung.load(); }));
    EXPECT_EQ(stream.state(), ChangeFeed::State::refused);
    EXPECT_TRUE(stream.take(0s)->empty());
}

TEST(EventStream, EndsWhileItIsOpened) {
    std::stop_source stop;
    const auto openForever = [](const std::stop_token& token) -> std::unique_ptr<EventSource> {
        test::waitUntil([&] { return token.stop_requested(); });
        return nullptr;
    };
    EventStream stream(
        openForever, [] {}, stop.get_token());
    EXPECT_FALSE(stream.take(0s));
    stop.request_stop();
    EXPECT_TRUE(test::waitUntil([&] { return stream.state() == ChangeFeed::State::refused; }));
}

}  // namespace
}  // namespace dovra
