#include <atomic>
#include <chrono>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/CurrentThread.hpp"
#include "Services/FSEventsWatcher.hpp"
#include "Support/FakeEventSource.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class FSEventsWatcherTest : public testing::Test {
protected:
    FSEventsWatcherTest() {
        watcher.emplace([this] { return std::make_unique<test::FakeEventSource>(changes); },
                        FSEventsWatcher::Callbacks{.callback =
                                                       [this](const ChangeBatch& batch) {
                                                           batches.push_back(batch.paths);
                                                           thread = currentThreadName();
                                                       },
                                                   .onMustRescan = [this] { ++rescans; }});
    }

    const std::shared_ptr<test::FakeChanges> changes = std::make_shared<test::FakeChanges>();
    std::vector<std::vector<std::string>> batches;  ///< of the watcher's queue; to be read after a flush
    std::string thread;
    int rescans = 0;
    std::optional<FSEventsWatcher> watcher;
};

TEST_F(FSEventsWatcherTest, GathersWhileArmedAndCallsBackOnItsQueueOnceStarted) {
    EXPECT_FALSE(watcher->flush(1s));
    EXPECT_EQ(watcher->coverage(), "");
    EXPECT_TRUE(watcher->arm());
    changes->add("/a");
    EXPECT_FALSE(watcher->flush(1s));
    EXPECT_THAT(batches, IsEmpty());
    EXPECT_TRUE(watcher->start());
    EXPECT_TRUE(watcher->flush(5s));
    EXPECT_THAT(batches, ElementsAre(ElementsAre("/a")));
    EXPECT_EQ(thread, "dovra.fsevents");
    EXPECT_EQ(watcher->coverage(), "made up");
}

TEST_F(FSEventsWatcherTest, LostEventsAskForOneScanAndDropTheBatch) {
    watcher->arm();
    changes->add("/a");
    changes->lose();
    changes->lose();
    changes->add("/b");
    watcher->start();
    EXPECT_TRUE(watcher->flush(5s));
    EXPECT_EQ(rescans, 1);
    EXPECT_THAT(batches, IsEmpty());
    changes->add("/c");
    EXPECT_TRUE(watcher->flush(5s));
    EXPECT_THAT(batches, ElementsAre(ElementsAre("/c")));
}

TEST_F(FSEventsWatcherTest, CallsNobodyBackOnceItIsReleased) {
    watcher->start();
    changes->add("/a");
    watcher.reset();
    const std::size_t before = batches.size();
    DispatchQueue("dovra.fsevents", QualityOfService::userInitiated).sync();
    EXPECT_EQ(batches.size(), before);
    EXPECT_LE(before, 1U);
}

TEST(FSEventsWatcher, MayBeReleasedByItsCallback) {
    const auto changes = std::make_shared<test::FakeChanges>();
    std::unique_ptr<FSEventsWatcher> watcher;
    std::promise<void> released;
    const auto release = [&](const ChangeBatch&) {
        watcher.reset();
        released.set_value();
    };
    watcher = std::make_unique<FSEventsWatcher>(
        [&] { return std::make_unique<test::FakeEventSource>(changes); },
        FSEventsWatcher::Callbacks{.callback = release, .onMustRescan = [] {}});
    watcher->start();
    changes->add("/a");
    EXPECT_EQ(released.get_future().wait_for(20s), std::future_status::ready);
}

TEST(FSEventsWatcher, DoesNotStartWhereThereIsNothingToWatch) {
    const test::TemporaryTree tree;
    WatchOptions options;
    options.root = tree.path("missing");
    FSEventsWatcher watcher(options, {.callback = [](const ChangeBatch&) {}, .onMustRescan = [] {}});
    EXPECT_FALSE(watcher.start());
    EXPECT_FALSE(watcher.flush(1s));
}

}  // namespace
}  // namespace dovra
