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
#include <utility>
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

/// A source whose changes are added by the test, in the place of the system.
class Source final : public EventSource {
public:
    void add(const std::string& path) {
        const std::scoped_lock lock(mutex_);
        waiting_.addPath(path);
        wakeLocked();
    }
    void wake() override {
        const std::scoped_lock lock(mutex_);
        wakeLocked();
    }
    void wait(std::chrono::milliseconds timeout) override {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, timeout, [&] { return std::exchange(isAwake_, false); });
    }
    void drain() override {
        const std::scoped_lock lock(mutex_);
        drained_.add(waiting_.take());
        ++drains;
    }
    bool hasChanges() const override { return !drained_.empty(); }
    std::optional<ChangeBatch> take(std::chrono::milliseconds) override {
        const std::scoped_lock held(holding);
        drain();
        ++answers_;
        return drained_.take();
    }
    std::vector<std::string> polledTrees() const override { return {"/polled"}; }
    std::string coverage() const override { return fmt::format("answered {}", answers_); }

    std::mutex holding;  ///< who has it keeps the source from answering
    std::atomic<int> drains = 0;

private:
    void wakeLocked() {
        isAwake_ = true;
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    ChangeSet waiting_, drained_;
    int answers_ = 0;
    bool isAwake_ = false;
};

class EventStreamTest : public testing::Test {
protected:
    void open(std::chrono::milliseconds latency) {
        const auto openSource = [this](const std::stop_token&) {
            auto made = std::make_unique<Source>();
            source = made.get();
            return made;
        };
        stream.emplace(
            openSource, [this] { ++rings; }, stop.get_token(), latency);
        ASSERT_TRUE(ringsAgain(0));
        EXPECT_EQ(stream->state(), ChangeFeed::State::open);
    }

    bool ringsAgain(int before) {
        return test::waitUntil([&] { return rings > before; });
    }

    Source* source = nullptr;
    std::atomic<int> rings = 0;
    std::stop_source stop;
    std::optional<EventStream> stream;
};

TEST_F(EventStreamTest, GathersUntilSomebodyTakes) {
    open(10s);
    EXPECT_EQ(stream->coverage(), "answered 0");
    EXPECT_THAT(stream->polledTrees(), ElementsAre("/polled"));
    source->add("/a");
    EXPECT_TRUE(ringsAgain(1)) << "the first change of a quiet period";
    source->add("/b");
    for (int i = 0; i < 3; ++i) {
        const int before = source->drains;
        source->wake();
        EXPECT_TRUE(test::waitUntil([&] { return source->drains > before; }));
    }
    EXPECT_EQ(rings, 2) << "until it is taken";
    EXPECT_THAT(stream->take(5s)->paths, UnorderedElementsAre("/a", "/b"));
    EXPECT_EQ(stream->coverage(), "answered 1");
    EXPECT_THAT(stream->take(5s)->paths, IsEmpty());
    for (const char* path : {"/c", "/d"}) {
        source->add(path);
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
        source->add("/busy");
        ASSERT_TRUE(ringsAgain(before));
        EXPECT_GE(Clock::now() - taken, 99ms);
    }
}

TEST_F(EventStreamTest, WhatComesTooLateForOneTakingComesWithTheNext) {
    open(10s);
    source->add("/late");
    {
        const std::scoped_lock held(source->holding);
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
