#include <chrono>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "Platform/DispatchQueue.hpp"
#include "Platform/Process.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using Quality = QualityOfService;

/// How the disk's scheduler treats the calling thread; 0 unless it was told. The kernel's header of these
/// numbers is not C++ in all its versions.
long diskClass() {
    constexpr int thread = 1;
    constexpr int classShift = 13;
    return ::syscall(SYS_ioprio_get, thread, 0) >> classShift;
}

TEST(DispatchQueue, RunsOneAtATimeInTheOrderOfEachCaller) {
    DispatchQueue queue("test", Quality::userInitiated);
    DispatchQueue other("other", Quality::userInteractive);
    constexpr int each = 2000;
    std::map<int, std::vector<int>> ran;  // guarded by the queue alone
    std::promise<void> letGo;
    queue.async([&] { letGo.get_future().wait(); });
    {
        std::vector<std::jthread> threads;
        for (int caller = 0; caller < 4; ++caller) {
            threads.emplace_back([&, caller] {
                for (int i = 0; i < each; ++i)
                    queue.async([&ran, caller, i] { ran[caller].push_back(i); });
            });
        }
    }
    other.sync([&] { letGo.set_value(); });
    queue.sync();
    std::vector<int> inOrder(each);
    std::iota(inOrder.begin(), inOrder.end(), 0);
    EXPECT_THAT(ran, testing::SizeIs(4));
    for (const auto& [caller, numbers] : ran)
        EXPECT_EQ(numbers, inOrder);
}

TEST(DispatchQueue, DelayedWorkComesWhenItIsDueAlsoWhenTheQueueIsGone) {
    const auto start = std::chrono::steady_clock::now();
    std::vector<int> ran;
    std::promise<void> done;
    {
        DispatchQueue queue("test", Quality::utility);
        queue.asyncAfter(60ms, [&] {
            ran.push_back(60);
            done.set_value();
        });
        queue.asyncAfter(20ms, [&] { ran.push_back(20); });
        queue.async([&] { ran.push_back(0); });
    }
    done.get_future().wait();
    EXPECT_GE(std::chrono::steady_clock::now() - start, 60ms);
    EXPECT_THAT(ran, testing::ElementsAre(0, 20, 60));
}

TEST(DispatchQueue, ThreadsBearTheLabelAndThePriorityOfTheWork) {
    const int usual = ::getpriority(PRIO_PROCESS, 0);
    const long usualDisk = diskClass();
    constexpr long idleDisk = 3;
    struct Case {
        Quality quality;
        std::string label;
        std::string name;
        int priority;
        long diskClass;
    };
    for (const Case& c :
         {Case{Quality::userInteractive, "dovra.search", "dovra.search", usual, usualDisk},
          {Quality::utility, "dovra.savedsearches", "dovra.savedsear", std::max(usual, 10), usualDisk},
          {Quality::background, "dovra.round", "dovra.round", 19, idleDisk}}) {
        DispatchQueue(c.label, c.quality).sync([&] {
            EXPECT_EQ(currentThreadName(), c.name);
            EXPECT_EQ(::getpriority(PRIO_PROCESS, 0), c.priority) << c.label;
            EXPECT_EQ(diskClass(), c.diskClass) << c.label;
        });
    }
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
