#include <chrono>
#include <filesystem>
#include <fmt/format.h>
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

namespace fs = std::filesystem;

/// What becomes of an index when something is told, is lost, or cannot be read, and when the root goes.
class LiveIndexFollowing : public test::LiveIndexLife {};

TEST_F(LiveIndexFollowing, FollowsWithinAFlushOrAStep) {
    beAlive();
    change("a");
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_EQ(updates_, 2);
    change("b");
    feed_->isLate = true;
    EXPECT_FALSE(live_->flush(1s));
    live_->step();
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(LiveIndexFollowing, LooksAtPolledTreesWithEachFlushAndNowAndThen) {
    write("polled/a");
    beAlive();
    feed_->polledTrees = {root_ + "/polled"};
    write("polled/b");
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(differences(), IsEmpty());
    write("polled/deep/c");
    EXPECT_EQ(live_->nextTime(), now_ + 2s);
    pass(2s);
    EXPECT_THAT(differences(), IsEmpty());
    lookTakes_ = 1s;
    live_->flush(1s);
    EXPECT_GE(live_->nextTime(), now_ + 3s) << "what takes long is done seldom";
}

TEST_F(LiveIndexFollowing, LooksAgainAtWhatCouldNotBeRead) {
    write("a/file");
    options_.saveInterval = 1s;
    beAlive();
    const auto stepWithoutDescriptors = [&] {
        const test::FewDescriptors shortage(1);
        live_->step();
    };
    write("a/new");
    tell("a");
    change("appeared/file");
    stepWithoutDescriptors();
    change("worth a save");
    live_->step();
    const ino_t before = cacheInode();
    pass(1s);
    EXPECT_NE(cacheInode(), before) << "which must not forget it";
    EXPECT_THAT(differences(), testing::Not(IsEmpty()));
    EXPECT_LE(live_->nextTime(), now_ + 4s);
    pass(4s);
    EXPECT_THAT(differences(), IsEmpty());
    change("b/new");
    stepWithoutDescriptors();
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(differences(), IsEmpty()) << "a flush does not wait for that";
}

TEST_F(LiveIndexFollowing, AnswersNothingAfterChangesWereLostUntilItIsBuiltAnew) {
    write("a");
    beAlive();
    write("b");
    feed_->waiting.loseTrack();
    EXPECT_FALSE(live_->flush(1s));
    EXPECT_FALSE(live_->isWhole());
    EXPECT_EQ(live_->index().itemCount(), 1) << "whoever searches meanwhile sees no part";
    EXPECT_FALSE(live_->nextTask());
    const auto before = live_->index().generation();
    live_->step();
    EXPECT_EQ(live_->index().generation(), before + 1) << "taken over at once";
    EXPECT_TRUE(live_->isCompared());
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(LiveIndexFollowing, BuildsAnewWhatIsMostlyDeleted) {
    options_.spareTombstones = 10;
    beAlive();
    for (int i = 0; i < 20; ++i)
        change(fmt::format("{}", i));
    live_->flush(1s);
    for (int i = 0; i < 20; ++i)
        fs::remove(root_ + fmt::format("/{}", i));
    tell("");
    live_->flush(1s);
    live_->step();
    const ReadGuard guard(live_->index().rwlock);
    EXPECT_EQ(live_->index().tombstoneCountLocked(), 0);
}

TEST_F(LiveIndexFollowing, ARootThatGoesAndComesBackIsScannedAgain) {
    write("a");
    beAlive();
    const ino_t saved = cacheInode();
    change("worth a save");
    live_->step();
    EXPECT_EQ(live_->nextTime(), now_ + 5s);
    const auto generation = live_->index().generation();
    const int updates = updates_;
    fs::rename(root_, tree_.path("above/other"));
    pass(5s);
    pass(5min);
    EXPECT_EQ(live_->index().itemCount(), 0);
    EXPECT_GT(live_->index().generation(), generation);
    EXPECT_EQ(updates_, updates + 1);
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("is gone")));
    EXPECT_GT(live_->nextTime(), now_) << "without a root nothing can be saved";
    EXPECT_EQ(cacheInode(), saved);
    fs::rename(tree_.path("above/other"), root_);
    pass(5s);
    pass(0s);
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("is gone"), HasSubstr("is back")));
    EXPECT_EQ(feed_->feeds, 2) << "watched anew";
    fs::rename(root_, tree_.path("above/other"));
    write("replaced");
    EXPECT_FALSE(live_->flush(1s));
    live_->step();
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_.back(), HasSubstr("another folder"));
}

TEST_F(LiveIndexFollowing, AFolderAboveTheRootThatIsAwayForAMomentCostsNothing) {
    write("a/file");
    beAlive();
    fs::rename(tree_.path("above"), tree_.path("away"));
    tree_.write("away/root/a/new");
    tell("a");
    feed_->isLate = true;
    live_->step();
    fs::rename(tree_.path("away"), tree_.path("above"));
    pass(5s);
    pass(5s);
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(LiveIndexFollowing, ARootThatIsReachedByAnotherWayIsWatchedAnew) {
    write("a");
    fs::create_directory_symlink(tree_.path("above"), tree_.path("link"));
    options_.root = tree_.path("link/root");
    beAlive();
    test::trustStamps(live_->index());
    fs::rename(tree_.path("above"), tree_.path("renamed"));
    fs::remove(tree_.path("link"));
    fs::create_directory_symlink(tree_.path("renamed"), tree_.path("link"));
    tree_.write("renamed/root/a", "changed in place, and nobody told");
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_EQ(feed_->feeds, 2);
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_, IsEmpty());
}

}  // namespace
}  // namespace dovra
