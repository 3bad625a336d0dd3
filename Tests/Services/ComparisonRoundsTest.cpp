#include <gtest/gtest.h>

#include "Services/ComparisonRounds.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using Stage = DiskComparison::Stage;
using Time = ComparisonRounds::Time;

constexpr auto interval = ComparisonRounds::interval;

/// Rounds of an index that no disk holds, so that nothing is found.
class ComparisonRoundsTest : public testing::Test {
protected:
    /// What is read when its time has come, in a second.
    std::optional<Stage> read() {
        now = rounds.nextTime();
        const auto piece = rounds.next(*index, now);
        if (!piece) return std::nullopt;
        EXPECT_EQ(rounds.nextTime(), Time::max());
        now += 1s;
        rounds.take(*index,
                    {.piece = *piece, .sights = std::vector<DiskComparison::Sight>(piece->folders.size())},
                    1s, now);
        return piece->stage;
    }

    const std::unique_ptr<FileIndex> index = test::makeIndex({"/a/b"});
    const Time start = Time(100h);
    Time now = start;
    ComparisonRounds rounds;
};

TEST_F(ComparisonRoundsTest, TheFirstOneAfterAStartIsSoonDoneAndNoRoundOfItsOwn) {
    rounds.startOver(start, true);
    EXPECT_EQ(rounds.nextTime(), start);
    EXPECT_EQ(read(), Stage::entries) << "the stamps are known to be right";
    EXPECT_EQ(rounds.nextTime(), now + 3s);
    EXPECT_TRUE(rounds.isCatchingUp());
    EXPECT_FALSE(rounds.next(*index, now)) << "not yet";
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_FALSE(rounds.isCatchingUp());
    EXPECT_EQ(rounds.last(), std::nullopt);
    EXPECT_EQ(rounds.nextTime(), start + interval);
}

TEST_F(ComparisonRoundsTest, ComeInAnIntervalIfTheyAreOfUseAndTakeAHundredthOfTheTime) {
    rounds.startOver(start, false);
    EXPECT_EQ(rounds.nextTime(), start + interval);
    for (const std::uint64_t number : {1, 2}) {
        EXPECT_EQ(read(), std::nullopt) << "of no use";
        EXPECT_EQ(rounds.nextTime(), now + interval);
        rounds.noteUse();
        EXPECT_EQ(read(), Stage::stamps);
        const Time began = now - 1s;
        EXPECT_EQ(rounds.nextTime(), now + 99s);
        EXPECT_EQ(read(), Stage::entries);
        rounds.addFind("/first");
        rounds.addFind("/second");
        EXPECT_EQ(read(), std::nullopt);
        ASSERT_TRUE(rounds.last());
        EXPECT_EQ(*rounds.last(),
                  (RoundOutcome{
                      .number = number, .endedAt = rounds.last()->endedAt, .finds = 2, .example = "/first"}));
        EXPECT_GT(rounds.last()->endedAt, 1'700'000'000);
        EXPECT_EQ(rounds.nextTime(), began + interval);
    }
}

}  // namespace
}  // namespace dovra
