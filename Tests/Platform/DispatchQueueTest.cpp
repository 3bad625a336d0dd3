#include <atomic>
#include <chrono>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "Platform/CurrentThread.hpp"
#include "Platform/DispatchQueue.hpp"
#include "Support/FileFacts.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using Quality = QualityOfService;

TEST(DispatchQueue, RunsOneAtATimeInTheOrderOfEachCaller) {
    DispatchQueue queue("test", Quality::userInitiated);
    constexpr int callers = 4;
    constexpr int each = 2000;
    std::vector<std::pair<int, int>> ran;  // guarded by the queue alone
    std::vector<std::thread> threads;
    threads.reserve(callers);
    for (int caller = 0; caller < callers; ++caller) {
        threads.emplace_back([&, caller] {
            for (int i = 0; i < each; ++i)
                queue.async([&ran, caller, i] { ran.emplace_back(caller, i); });
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    queue.sync();
    ASSERT_EQ(ran.size(), static_cast<std::size_t>(callers * each));
    std::vector<int> next(callers);
    for (const auto& [caller, i] : ran)
        EXPECT_EQ(i, next[static_cast<std::size_t>(caller)]++);
}

TEST(DispatchQueue, QueuesDoNotWaitForEachOther) {
    DispatchQueue first("first", Quality::userInitiated);
    DispatchQueue second("second", Quality::userInteractive);
    std::promise<void> letGo;
    first.async([&] { letGo.get_future().wait(); });
    second.sync([&] { letGo.set_value(); });
    first.sync();
}

TEST(DispatchQueue, DelayedWorkComesWhenItIsDue) {
    DispatchQueue queue("test", Quality::utility);
    const auto start = std::chrono::steady_clock::now();
    std::vector<int> ran;
    std::promise<void> done;
    queue.asyncAfter(60ms, [&] {
        ran.push_back(60);
        done.set_value();
    });
    queue.asyncAfter(20ms, [&] { ran.push_back(20); });
    queue.async([&] { ran.push_back(0); });
    done.get_future().wait();
    EXPECT_GE(std::chrono::steady_clock::now() - start, 60ms);
    EXPECT_THAT(ran, testing::ElementsAre(0, 20, 60));
}

TEST(DispatchQueue, OutlivesItsObject) {
    std::promise<void> ran;
    DispatchQueue("short", Quality::utility).asyncAfter(1ms, [&] { ran.set_value(); });
    ran.get_future().wait();
}

TEST(DispatchQueue, ThreadsBearTheLabelWhileTheyWork) {
    std::string name;
    int priority = 0;
    const auto look = [&] {
        name = currentThreadName();
        priority = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()));
    };
    const int usual = ::getpriority(PRIO_PROCESS, 0);
    DispatchQueue("dovra.search", Quality::userInteractive).sync(look);
    EXPECT_EQ(name, "dovra.search");
    EXPECT_EQ(priority, usual);
    DispatchQueue("dovra.savedsearches", Quality::utility).sync(look);
    EXPECT_EQ(name, "dovra.savedsear");
    EXPECT_EQ(priority, std::max(usual, 10));
}

TEST(DispatchQueue, StartsNoThreadBeforeThereIsWork) {
    const std::size_t before = test::namesIn("/proc/self/task").size();
    const DispatchQueue utility("idle", Quality::utility);
    const DispatchQueue usual("idle", Quality::userInitiated);
    EXPECT_EQ(test::namesIn("/proc/self/task").size(), before);
}

TEST(DispatchQueueDeathTest, WaitingForItselfIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            DispatchQueue queue("knot", Quality::utility);
            queue.sync([&] { queue.sync(); });
        },
        "waits for itself: knot");
}

}  // namespace
}  // namespace dovra
