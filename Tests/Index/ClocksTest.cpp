#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "Index/Clocks.hpp"
#include "Index/LookAheadWalk.hpp"
#include "Support/FileFacts.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t listedAt = 1000 * second;

TEST(StampClock, TrustsOnlyWhatAChangeAfterwardsWouldAlter) {
    constexpr std::int64_t oldEnough = listedAt - 3 * second;
    const auto isProven = [](std::int64_t modified, std::int64_t changed) {
        const FolderStamp stamp{.device = 1, .inode = 2, .modified = modified, .changed = changed};
        const ClockReading now{.wall = listedAt, .steady = 7};
        const FolderStamp proven = StampClock(now).trusted(stamp, now);
        EXPECT_TRUE(proven == stamp || proven == FolderStamp{});
        return proven.isKnown();
    };
    EXPECT_TRUE(isProven(oldEnough, 5));
    EXPECT_TRUE(isProven(-5, oldEnough));
    EXPECT_FALSE(isProven(oldEnough + 1, 5));
    EXPECT_FALSE(isProven(5, oldEnough + 1));
    EXPECT_FALSE(isProven(5, listedAt + 500 * second));
    EXPECT_FALSE(isProven(std::numeric_limits<std::int64_t>::max(), 5));
}

TEST(StampClock, TrustsNothingOnceTheWallClockWasSet) {
    const auto wasSet = [](std::int64_t wall, std::int64_t steady) {
        const StampClock clock(ClockReading{.wall = listedAt, .steady = 7});
        const FolderStamp old{.device = 1, .inode = 2, .modified = -9 * listedAt, .changed = -9 * listedAt};
        return clock.trusted(old, {.wall = listedAt + wall, .steady = 7 + steady}) != old;
    };
    EXPECT_FALSE(wasSet(0, 0));
    EXPECT_FALSE(wasSet(3600 * second, 3601 * second));
    EXPECT_TRUE(wasSet(-3600 * second, second));
    EXPECT_TRUE(wasSet(3600 * second, second));
}

TEST(StampClock, AWalkStampsFoldersThatHaveBeenLeftAlone) {
    const test::TemporaryTree tree;
    const std::vector<std::string> roots = {"/", tree.path()};  // the last one is new
    std::map<std::string, FolderStamp, std::less<>> stamps;
    lookAheadWalk(roots, {.entersChild = [](std::string_view) { return false; }},
                  [&](const WalkedFolder& walked) {
                      stamps.emplace(walked.name, walked.stamp);
                      return 0;
                  });
    EXPECT_EQ(stamps.at("/"), folderStamp("/"));
    EXPECT_FALSE(stamps.at(tree.path()).isKnown());
}

TEST(EventId, NeverGoesBack) {
    EXPECT_EQ(nextEventId(0, listedAt), std::uint64_t{listedAt});
    EXPECT_EQ(nextEventId(listedAt + 5, listedAt), std::uint64_t{listedAt + 5});
    EXPECT_EQ(nextEventId(3, -second), 3U);
    const std::uint64_t given = nextEventId(0);
    EXPECT_TRUE(isPastEvent(given, wallClockNow()));
    EXPECT_FALSE(isPastEvent(listedAt + 1, listedAt));
    EXPECT_FALSE(isPastEvent(~std::uint64_t{0}, listedAt));
    EXPECT_FALSE(isPastEvent(0, -1));
}

}  // namespace
}  // namespace dovra
