#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <optional>

#include "Index/EventId.hpp"
#include "Index/LookAheadWalk.hpp"
#include "Index/StampClock.hpp"
#include "Support/FileFacts.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t listedAt = 1000 * second;

TEST(StampClock, TrustsOnlyWhatAChangeAfterwardsWouldAlter) {
    constexpr std::int64_t oldEnough = listedAt - 3 * second;
    constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();
    struct Case {
        std::int64_t modified;
        std::int64_t changed;
        bool isProven;
    };
    for (const auto& [modified, changed, isProven] : {Case{oldEnough, 5, true},
                                                      {-5, oldEnough, true},
                                                      {oldEnough + 1, 5, false},
                                                      {5, oldEnough + 1, false},
                                                      {5, listedAt + 500 * second, false},
                                                      {never, 5, false}}) {
        const FolderStamp stamp{.device = 1, .inode = 2, .modified = modified, .changed = changed};
        const ClockReading now{.wall = listedAt, .steady = 7};
        EXPECT_EQ(StampClock(now).trusted(stamp, now), isProven ? stamp : FolderStamp{})
            << modified << " " << changed;
    }
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
    const auto stampOfWalk = [](const std::string& root) {
        FolderStamp stamp;
        lookAheadWalk({root}, {.entersChild = [](std::string_view) { return false; }},
                      [&](const WalkedFolder& walked) {
                          stamp = walked.stamp;
                          return 0;
                      });
        return stamp;
    };
    EXPECT_EQ(stampOfWalk("/"), folderStamp("/")) << "nobody made it this moment";
    EXPECT_FALSE(stampOfWalk(test::TemporaryTree().path()).isKnown()) << "made this moment";
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
