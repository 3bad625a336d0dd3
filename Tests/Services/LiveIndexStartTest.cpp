#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Services/LiveIndexLife.hpp"
#include "Support/FewDescriptors.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using State = LiveIndex::State;
using test::Compared;

namespace fs = std::filesystem;

/// How an index comes up: by a scan, or from a cache.
class LiveIndexStart : public test::LiveIndexLife {};

TEST_F(LiveIndexStart, ScansOnceNoChangeIsMissedAndSaves) {
    write("a/file");
    feed_->state = ChangeFeed::State::opening;
    make();
    EXPECT_FALSE(live_->isWhole());
    live_->start();
    live_->step();
    EXPECT_EQ(live_->state(), State::loading);
    EXPECT_FALSE(live_->flush(1s));
    write("before the feed");
    feed_->state = ChangeFeed::State::open;
    EXPECT_LE(live_->nextTime(), now_) << "to be stepped at once";
    live_->step();
    EXPECT_TRUE(live_->isCompared());
    EXPECT_THAT(runTasks(), ElementsAre(Kind::saving));
    FileIndex saved;
    const auto loaded =
        IndexCache(cacheFileName(root_)).load(saved, {.volumeDev = folderStamp(root_).device, .root = root_});
    ASSERT_TRUE(loaded);
    EXPECT_GT(loaded->lastEventId, 0U);
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_EQ(updates_, 1);
    EXPECT_THAT(progress_, ElementsAre(testing::Pair(3, false)));
}

TEST_F(LiveIndexStart, KnowsNamesAtOnceAfterARestartAndTheRestOnceCompared) {
    for (const char* path : {"kept/a", "kept/b", "gone/c"})
        write(path, "text");
    beAlive();
    change("worth a save");
    live_->step();
    test::trustStamps(live_->index());
    end();
    updates_ = 0;
    begin();
    EXPECT_EQ(updates_, 1) << "what was loaded is told";
    EXPECT_EQ(progress_.back(), std::pair(live_->index().itemCount(), false));
    live_->step();
    EXPECT_THAT(runTasks(), testing::Each(Kind::reading)) << "nothing changed that had to be saved";
    end();
    const EntryId kept = test::idOf(live_->index(), root_ + "/kept/a");
    write("kept/a", "changed in place");
    fs::remove_all(root_ + "/gone");
    write("new/d");
    feed_->state = ChangeFeed::State::opening;
    begin();
    EXPECT_EQ(live_->state(), State::replaying);
    EXPECT_TRUE(live_->isWhole() && !live_->isCompared());
    EXPECT_EQ(test::idOf(live_->index(), root_ + "/kept/a"), kept);
    EXPECT_THAT(differences(Compared::namesAndKinds), IsEmpty());
    EXPECT_THAT(differences(), testing::Not(IsEmpty()));
    write("new/e");
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(differences(Compared::namesAndKinds), IsEmpty()) << "nobody tells yet, but who flushes knows";
    write("new/f");
    feed_->state = ChangeFeed::State::open;
    live_->step();
    EXPECT_TRUE(live_->isWhole() && !live_->isCompared());
    EXPECT_LE(live_->nextTime(), now_) << "compared at once";
    while (!live_->isCompared())
        pass(1s);
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_, IsEmpty()) << "what changed while nobody watched is no fault";
}

TEST_F(LiveIndexStart, ReadsWhatCouldNotBeReadBefore) {
    write("a/file");
    beAlive();
    write("a/appeared/file");
    tell("a");
    for (int descriptors = 0; descriptors < 9 && !has("a/appeared"); ++descriptors) {
        const test::FewDescriptors shortage(descriptors);
        live_->flush(1s);
    }
    ASSERT_FALSE(has("a/appeared/file")) << "seen, but not read";
    test::trustStamps(live_->index());
    end();
    begin();
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(LiveIndexStart, KeepsNoPartOfWhatAStopCutShort) {
    write("a");
    begin();
    stopInAStep();
    EXPECT_FALSE(fs::exists(cachePath()));
    EXPECT_EQ(live_->index().itemCount(), 0);
    beAlive();
    live_->rebuild();
    stopInAStep();
    EXPECT_FALSE(fs::exists(cachePath())) << "what made it necessary may be in there";
    EXPECT_EQ(live_->index().itemCount(), 1) << "may be searched to the end";
}

TEST_F(LiveIndexStart, ScansARootThatCouldNotBeReadAtFirst) {
    write("a");
    feed_->state = ChangeFeed::State::refused;
    const bool isOrdinary = withoutEntering(root_, [&] {
        begin();
        live_->step();
        EXPECT_EQ(live_->index().itemCount(), 0);
        EXPECT_EQ(live_->coverage(), "not watched");
    });
    if (!isOrdinary) GTEST_SKIP() << "cannot give up root's rights";
    fs::permissions(root_, fs::perms::owner_all);
    feed_->state = ChangeFeed::State::open;
    pass(5s);
    pass(0s);
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("not told"), HasSubstr("can be read now")));
}

TEST_F(LiveIndexStart, WatchesARootThatIsKnownFromACacheOnceThatIsPossible) {
    write("a", "text");
    beAlive();
    end();
    feed_->state = ChangeFeed::State::refused;
    begin();
    EXPECT_EQ(live_->coverage(), "not watched");
    feed_->state = ChangeFeed::State::open;
    live_->step();
    EXPECT_EQ(live_->coverage(), "made up");
    EXPECT_TRUE(live_->isCompared());
    change("b");
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(differences(), IsEmpty());
}

}  // namespace
}  // namespace dovra
