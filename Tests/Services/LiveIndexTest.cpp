#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "Services/LiveIndex.hpp"
#include "Support/FakeFeed.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/FileFacts.hpp"
#include "Support/FreshScan.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using test::idOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using State = LiveIndex::State;
using Kind = LiveIndex::Task::Kind;

namespace fs = std::filesystem;

/// A life that the test steps, with a clock and a feed of its own. Nothing happens on its own.
class LiveIndexTest : public testing::Test {
protected:
    void SetUp() override { ::setenv("XDG_DATA_HOME", data_.path().c_str(), 1); }
    void TearDown() override { ::unsetenv("XDG_DATA_HOME"); }

    LiveIndex::Options options() {
        LiveIndex::Options made;
        made.root = root_;
        made.openFeed = [this] { return std::make_unique<test::FakeFeed>(feed_); };
        made.now = [this] {
            if (stopsBetween_) stop_.request_stop();
            return now_ += lookTakes_;
        };
        made.isOnBattery = [this] { return isOnBattery_; };
        made.report = [this](const std::string& message) { reports_.push_back(message); };
        made.onUpdated = [this] { ++updates_; };
        made.onProgress = [this](std::int64_t count, bool goesOn) { progress_.emplace_back(count, goesOn); };
        made.stop = stop_.get_token();
        return made;
    }

    void make() { make(options()); }
    void make(LiveIndex::Options made) {
        stop_ = {};
        made.stop = stop_.get_token();
        live_.emplace(std::move(made));
    }

    /// A life that has begun: with a saved cache, everything compared.
    LiveIndex& alive() { return alive(options()); }
    LiveIndex& alive(LiveIndex::Options made) {
        make(std::move(made));
        live_->start();
        live_->step();
        runTasks();
        EXPECT_TRUE(live_->isCompared());
        return *live_;
    }

    void end() {
        stop_.request_stop();
        live_->end();
    }

    /// Time passes, and what is due is done.
    void pass(std::chrono::seconds time) {
        now_ += time;
        live_->step();
        runTasks();
    }

    /// Every task that is due now; which they were.
    std::vector<Kind> runTasks() {
        std::vector<Kind> kinds;
        while (auto task = live_->nextTask()) {
            task->run()();
            kinds.push_back(task->kind);
        }
        return kinds;
    }

    /// Somebody is served, and then a whole round goes by.
    void passARound() {
        const auto number = [&] { return live_->lastRound() ? live_->lastRound()->number : 0; };
        const auto before = number();
        live_->flush(1s);
        for (int i = 0; i < 1000 && number() == before; ++i)
            pass(1min);
        ASSERT_GT(number(), before);
    }

    void tell(const std::string& path) { feed_->waiting.addPath(path.empty() ? root_ : root_ + "/" + path); }

    /// A change in the root folder that the feed tells.
    void change(const std::string& name) {
        tree_.write("above/root/" + name);
        tell("");
    }

    std::vector<std::string> differences() const {
        return test::differencesFromFreshScan(live_->index(), root_);
    }

    /// Times that are as young as those of a test prove nothing; here nothing else changes, so they do.
    void proveStamps(FileIndex& index) const {
        const WriteGuard guard(index.rwlock);
        for (std::size_t i = 0; i < index.directoriesLocked().count(); ++i) {
            const auto folder = static_cast<DirIndex>(i);
            index.setStampLocked(folder, folderStamp(index.directoriesLocked().path(folder)));
        }
    }

    std::string cachePath() const { return data_.path("Dovra/" + cacheFileName(root_)); }
    ino_t cacheInode() const { return test::statusOf(cachePath()).st_ino; }

    const test::TemporaryTree data_;
    const test::TemporaryTree tree_;
    const std::string root_ = tree_.makeFolder("above/root");
    const std::shared_ptr<test::FakeChanges> feed_ = std::make_shared<test::FakeChanges>();
    LiveIndex::Time now_ = LiveIndex::Time(100h);
    LiveIndex::Clock::duration lookTakes_ = 0ms;
    bool isOnBattery_ = false;
    bool stopsBetween_ = false;  ///< a stop is asked for while a step goes on
    std::vector<std::string> reports_;
    std::vector<std::pair<std::int64_t, bool>> progress_;
    int updates_ = 0;
    std::stop_source stop_;
    std::optional<LiveIndex> live_;
};

TEST_F(LiveIndexTest, ScansOnceNoChangeIsMissedAndSaves) {
    tree_.write("above/root/a/file");
    feed_->state = ChangeFeed::State::opening;
    make();
    EXPECT_FALSE(live_->isWhole());
    live_->start();
    live_->step();
    EXPECT_EQ(live_->state(), State::loading);
    EXPECT_FALSE(live_->flush(1s));
    tree_.write("above/root/before the feed");
    feed_->state = ChangeFeed::State::open;
    EXPECT_LE(live_->nextTime(), now_) << "to be stepped at once";
    live_->step();
    EXPECT_EQ(live_->state(), State::live);
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

TEST_F(LiveIndexTest, KnowsNamesAtOnceAfterARestartAndTheRestOnceCompared) {
    for (const char* path : {"above/root/kept/a", "above/root/kept/b", "above/root/gone/c"})
        tree_.write(path, "text");
    alive();
    tree_.write("above/root/worth a save");
    tell("");
    live_->step();
    proveStamps(live_->index());
    end();
    make();
    updates_ = 0;
    live_->start();
    EXPECT_EQ(updates_, 1) << "what was loaded is told";
    EXPECT_EQ(progress_.back(), std::pair(live_->index().itemCount(), false));
    live_->step();
    EXPECT_THAT(runTasks(), testing::Each(Kind::reading)) << "nothing changed that had to be saved";
    end();
    const EntryId kept = idOf(live_->index(), root_ + "/kept/a");
    tree_.write("above/root/kept/a", "changed in place");
    fs::remove_all(root_ + "/gone");
    tree_.write("above/root/new/d");
    feed_->state = ChangeFeed::State::opening;
    make();
    live_->start();
    EXPECT_EQ(live_->state(), State::replaying);
    EXPECT_TRUE(live_->isWhole() && !live_->isCompared());
    EXPECT_EQ(idOf(live_->index(), root_ + "/kept/a"), kept);
    EXPECT_THAT(test::differencesFromFreshScan(live_->index(), root_, test::Compared::namesAndKinds),
                IsEmpty());
    EXPECT_THAT(differences(), testing::Not(IsEmpty()));
    // Nobody tells yet, but who flushes knows.
    tree_.write("above/root/new/e");
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(test::differencesFromFreshScan(live_->index(), root_, test::Compared::namesAndKinds),
                IsEmpty());
    tree_.write("above/root/new/f");
    feed_->state = ChangeFeed::State::open;
    live_->step();
    EXPECT_TRUE(live_->isWhole() && !live_->isCompared());
    EXPECT_LE(live_->nextTime(), now_) << "compared at once";
    while (!live_->isCompared())
        pass(1s);
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_, IsEmpty()) << "what changed while nobody watched is no fault";
}

TEST_F(LiveIndexTest, LooksAgainAtWhatCouldNotBeRead) {
    tree_.write("above/root/a/file");
    auto made = options();
    made.saveInterval = 1s;
    alive(std::move(made));
    tree_.write("above/root/a/new");
    tree_.write("above/root/appeared/file");
    tell("");
    tell("a");
    {
        const test::FewDescriptors shortage(1);
        live_->step();
    }
    change("worth a save");
    live_->step();
    const ino_t before = cacheInode();
    pass(1s);
    EXPECT_NE(cacheInode(), before) << "which must not forget it";
    EXPECT_THAT(differences(), testing::Not(IsEmpty()));
    EXPECT_LE(live_->nextTime(), now_ + 4s);
    pass(4s);
    EXPECT_THAT(differences(), IsEmpty());
    tree_.write("above/root/b/new");
    tell("");
    {
        const test::FewDescriptors shortage(1);
        live_->step();
    }
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(differences(), IsEmpty()) << "a flush does not wait for that";
}

TEST_F(LiveIndexTest, ACacheTellsOfFoldersThatCouldNotBeRead) {
    tree_.write("above/root/a/file");
    alive();
    tree_.write("above/root/a/appeared/file");
    tell("a");
    for (int descriptors = 0; descriptors < 9 && idOf(live_->index(), root_ + "/a/appeared") < 0;
         ++descriptors) {
        const test::FewDescriptors shortage(descriptors);
        live_->flush(1s);
    }
    ASSERT_LT(idOf(live_->index(), root_ + "/a/appeared/file"), 0) << "seen, but not read";
    proveStamps(live_->index());
    end();
    make();
    live_->start();
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(LiveIndexTest, FollowsWithinAFlushOrAStep) {
    alive();
    tree_.write("above/root/a");
    tell("");
    const int updates = updates_;
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_EQ(updates_, updates + 1);
    tree_.write("above/root/b");
    tell("");
    feed_->isLate = true;
    EXPECT_FALSE(live_->flush(1s));
    live_->step();
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(LiveIndexTest, LooksAtPolledTreesWithEachFlushAndNowAndThen) {
    tree_.write("above/root/polled/a");
    alive();
    feed_->polledTrees = {root_ + "/polled"};
    tree_.write("above/root/polled/b");
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(differences(), IsEmpty());
    tree_.write("above/root/polled/deep/c");
    EXPECT_EQ(live_->nextTime(), now_ + 2s);
    pass(2s);
    EXPECT_THAT(differences(), IsEmpty());
    lookTakes_ = 1s;
    live_->flush(1s);
    EXPECT_GE(live_->nextTime(), now_ + 3s) << "what takes long is done seldom";
}

TEST_F(LiveIndexTest, AnswersNothingAfterChangesWereLostUntilItIsBuiltAnew) {
    tree_.write("above/root/a");
    alive();
    tree_.write("above/root/b");
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

TEST_F(LiveIndexTest, SavesNothingThatIsNotWhole) {
    alive();
    const ino_t before = cacheInode();
    change("worth a save");
    live_->step();
    now_ += 5min;
    feed_->waiting.loseTrack();
    live_->flush(1s);
    EXPECT_FALSE(live_->nextTask());
    end();
    EXPECT_EQ(cacheInode(), before);
}

TEST_F(LiveIndexTest, KeepsNoPartOfWhatAStopCutShort) {
    tree_.write("above/root/a");
    make();
    live_->start();
    const auto stopAndEnd = [&] {
        stopsBetween_ = true;
        live_->step();
        live_->end();
        stopsBetween_ = false;
    };
    stopAndEnd();
    EXPECT_FALSE(fs::exists(cachePath()));
    EXPECT_EQ(live_->index().itemCount(), 0);
    alive();
    live_->rebuild();
    stopAndEnd();
    EXPECT_FALSE(fs::exists(cachePath())) << "what made it necessary may be in there";
    EXPECT_EQ(live_->index().itemCount(), 1) << "may be searched to the end";
}

TEST_F(LiveIndexTest, DoesNotKeepASaveThatWasOvertakenByALoss) {
    alive();
    live_->rebuild();
    live_->step();
    auto saving = live_->nextTask();
    ASSERT_TRUE(saving);
    const auto finish = saving->run();
    live_->rebuild();
    finish();
    EXPECT_FALSE(fs::exists(cachePath()));
}

TEST_F(LiveIndexTest, BuildsAnewWhatIsMostlyDeleted) {
    auto made = options();
    made.spareTombstones = 10;
    alive(std::move(made));
    for (int i = 0; i < 20; ++i)
        tree_.write(fmt::format("above/root/new/{}", i));
    tell("");
    live_->flush(1s);
    fs::remove_all(root_ + "/new");
    tell("");
    live_->flush(1s);
    live_->step();
    const ReadGuard guard(live_->index().rwlock);
    EXPECT_EQ(live_->index().tombstoneCountLocked(), 0);
}

TEST_F(LiveIndexTest, SwitchesTheTrigramIndex) {
    tree_.write("above/root/some name");
    alive();
    for (const bool isUsed : {true, false}) {
        live_->useTrigram(isUsed);
        live_->step();
        const ReadGuard guard(live_->index().rwlock);
        EXPECT_EQ(live_->index().trigramLocked() != nullptr, isUsed);
    }
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(LiveIndexTest, SavesChangesNoMoreOftenThanTheIntervalAndWhatFailedAgain) {
    auto made = options();
    made.saveInterval = 3s;
    alive(std::move(made));
    const ino_t first = cacheInode();
    change("a");
    live_->step();
    pass(1s);
    change("b");
    pass(1s);
    EXPECT_EQ(cacheInode(), first);
    EXPECT_EQ(live_->nextTime(), now_ + 1s) << "not put off by further changes";
    const std::string inTheWay = data_.path("moved");
    fs::rename(data_.path("Dovra"), inTheWay);
    std::ofstream(data_.path("Dovra")) << "no folder";
    pass(1s);
    fs::remove(data_.path("Dovra"));
    fs::rename(inTheWay, data_.path("Dovra"));
    EXPECT_EQ(cacheInode(), first);
    pass(3s);
    EXPECT_NE(cacheInode(), first);
}

TEST_F(LiveIndexTest, LosesNoChangeThatComesDuringASave) {
    auto made = options();
    made.saveInterval = 1s;
    alive(std::move(made));
    const auto changeAndWait = [&](const std::string& name) {
        change(name);
        live_->step();
        now_ += 1s;
    };
    changeAndWait("a");
    auto saving = live_->nextTask();
    ASSERT_TRUE(saving);
    changeAndWait("b");
    EXPECT_FALSE(live_->nextTask()) << "one save at a time";
    saving->run()();
    EXPECT_THAT(runTasks(), ElementsAre(Kind::saving));
    const ino_t saved = cacheInode();
    changeAndWait("c");
    saving = live_->nextTask();
    ASSERT_TRUE(saving);
    stop_.request_stop();
    (void)saving->run();
    EXPECT_EQ(cacheInode(), saved) << "given up";
    live_->end();
    EXPECT_NE(cacheInode(), saved);
}

TEST_F(LiveIndexTest, SavesAtTheEndWhatChangedSinceTheLastSaveAndNothingElse) {
    alive();
    const ino_t first = cacheInode();
    end();
    EXPECT_EQ(cacheInode(), first);
    make();
    live_->start();
    proveStamps(live_->index());
    end();
    EXPECT_EQ(cacheInode(), first);
    alive();
    tree_.write("above/root/a");
    tell("");
    live_->step();
    end();
    EXPECT_NE(cacheInode(), first);
}

TEST_F(LiveIndexTest, DoesNotSaveBecauseItSaved) {
    // The program's own folder lies in the served tree, and is reached by a link.
    tree_.makeFolder("above/root/data");
    fs::create_directory_symlink(root_ + "/data", tree_.path("link"));
    ::setenv("XDG_DATA_HOME", (tree_.path("link") + "/").c_str(), 1);
    alive();
    const std::string own = root_ + "/data/Dovra";
    const auto inode = [&] { return test::statusOf(own + "/" + cacheFileName(root_)).st_ino; };
    const ino_t first = inode();
    for (int i = 0; i < 3; ++i) {
        tell("");
        tell("data/Dovra");
        feed_->waiting.addFile(own + "/index.cache.new");
        pass(10min);
    }
    EXPECT_EQ(inode(), first);
    // Where nothing but the time of a folder is another one, what was told decides.
    const auto savesAfterTouching = [&](const std::string& folder, const std::function<void()>& tellIt) {
        const ino_t before = inode();
        fs::last_write_time(folder, fs::last_write_time(folder) - 1h);
        tellIt();
        pass(1s);
        pass(5min);
        return inode() != before;
    };
    EXPECT_FALSE(savesAfterTouching(own, [&] { tell("data/Dovra"); }));
    const std::string other = tree_.makeFolder("above/root/data/other");
    EXPECT_TRUE(savesAfterTouching(other, [&] { tell("data"); }));
    EXPECT_TRUE(savesAfterTouching(other, [&] { feed_->waiting.addFile(other + "/file"); }));
    EXPECT_TRUE(savesAfterTouching(other, [&] { feed_->waiting.addSubtree(other); }));
}

TEST_F(LiveIndexTest, ARoundFindsWhatNobodyToldAndSaysSo) {
    for (const char* path : {"above/root/a/file", "above/root/b/file", "above/root/gone/file"})
        tree_.write(path);
    alive();
    tree_.write("above/root/a/file", "longer");
    tree_.write("above/root/new/deep/file");
    fs::remove_all(root_ + "/gone");
    live_->flush(1s);
    EXPECT_THAT(differences(), testing::Not(IsEmpty()));
    passARound();
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("had changed without being told")));
    ASSERT_TRUE(live_->lastRound());
    EXPECT_GT(live_->lastRound()->finds, 0);
    tree_.write("above/root/b/file", "told");
    tell("b");
    passARound();
    EXPECT_EQ(live_->lastRound()->finds, 0);
    EXPECT_EQ(reports_.size(), 1U);
}

TEST_F(LiveIndexTest, ARoundEntersWhatMayBeReadByNow) {
    tree_.write("above/root/closed/file");
    fs::permissions(root_ + "/closed", fs::perms::none);
    fs::permissions(tree_.path(), fs::perms::group_exec, fs::perm_options::add);
    {
        const test::OrdinaryUser user;
        if (!user.isOrdinary()) GTEST_SKIP() << "cannot give up root's rights";
        make();
        live_->start();
        live_->step();
    }
    EXPECT_EQ(live_->index().itemCount(), 1);
    passARound();
    EXPECT_EQ(live_->index().itemCount(), 2);
}

TEST_F(LiveIndexTest, WhatIsToldOrCannotBeToldIsNoFind) {
    tree_.write("above/root/a/file");
    alive();
    // A folder that appeared is told as a subtree, and shows in the one above, so it has to be taken in
    // first.
    const std::function<void()> tellings[] = {
        [&] { feed_->waiting.addSubtree(root_ + "/a/new"); },  //
        [&] { feed_->later.addPath(root_ + "/a"); },
        [&] { feed_->later.addFile(root_ + "/a/file"); },
        [&] { feed_->later.addSubtree(root_); },
        [&] { feed_->polledTrees = {root_ + "/a"}; },
        [&] {
            feed_->polledTrees.clear();
            feed_->state = ChangeFeed::State::refused;
        },
    };
    std::uint64_t round = 0;
    std::string text;
    for (const auto& tellIt : tellings) {
        feed_->later.take();
        live_->flush(1s);
        now_ += 20min;
        tree_.makeFolder("above/root/a/new");
        if (round > 0) tree_.write("above/root/a/file", text += "longer");
        while (auto task = live_->nextTask()) {
            const auto finish = task->run();
            tellIt();
            finish();
        }
        ASSERT_TRUE(live_->lastRound());
        EXPECT_EQ(live_->lastRound()->number, ++round);
        EXPECT_EQ(live_->lastRound()->finds, 0) << round;
        EXPECT_THAT(differences(), IsEmpty());
    }
}

TEST_F(LiveIndexTest, AReadingThatARebuildOvertookCountsForNothing) {
    for (const char* path : {"above/root/a/file", "above/root/b/file"})
        tree_.write(path);
    alive();
    live_->flush(1s);
    now_ += 10min;
    live_->nextTask()->run()();  // the stamps
    auto reading = live_->nextTask();
    ASSERT_TRUE(reading);
    EXPECT_FALSE(live_->nextTask()) << "one reading at a time";
    tree_.write("above/root/b/file", "untold");
    const auto finish = reading->run();
    live_->rebuild();
    const auto generation = live_->index().generation();
    finish();
    EXPECT_EQ(live_->index().generation(), generation);
    live_->step();
    tree_.write("above/root/a/file", "untold");
    runTasks();
    live_->flush(1s);
    now_ += 10min;
    auto other = live_->nextTask();
    ASSERT_TRUE(other);
    finish();
    EXPECT_FALSE(live_->nextTask()) << "the new one is still being read";
    other->run()();
    runTasks();
    ASSERT_TRUE(live_->lastRound());
    EXPECT_EQ(live_->lastRound()->finds, 1);
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(LiveIndexTest, RoundsRestWhenNobodyCouldTellAndAfterWhatTheyRead) {
    alive();
    now_ += 20min;
    EXPECT_FALSE(live_->nextTask()) << "nobody was served";
    live_->flush(1s);
    isOnBattery_ = true;
    now_ += 20min;
    EXPECT_FALSE(live_->nextTask()) << "on battery";
    isOnBattery_ = false;
    EXPECT_FALSE(live_->nextTask()) << "not at once";
    now_ += 20min;
    auto reading = live_->nextTask();
    ASSERT_TRUE(reading);
    lookTakes_ = 1s;
    reading->run()();
    lookTakes_ = 0s;
    now_ += 98s;
    EXPECT_FALSE(live_->nextTask());
    now_ += 10s;
    EXPECT_TRUE(live_->nextTask());
}

TEST_F(LiveIndexTest, ARootThatGoesAndComesBackIsScannedAgain) {
    tree_.write("above/root/a");
    alive();
    const int feeds = feed_->feeds;
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
    EXPECT_GT(feed_->feeds, feeds) << "watched anew";
    fs::rename(root_, tree_.path("above/other"));
    tree_.write("above/root/replaced");
    EXPECT_FALSE(live_->flush(1s));
    live_->step();
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_.back(), HasSubstr("another folder"));
}

TEST_F(LiveIndexTest, AFolderAboveTheRootThatIsAwayForAMomentCostsNothing) {
    tree_.write("above/root/a/file");
    alive();
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

TEST_F(LiveIndexTest, ARootThatIsReachedByAnotherWayIsWatchedAnew) {
    tree_.write("target/root/a");
    fs::create_directory_symlink(tree_.path("target"), tree_.path("link"));
    auto made = options();
    made.root = tree_.path("link/root");
    alive(std::move(made));
    proveStamps(live_->index());
    const int feeds = feed_->feeds;
    fs::rename(tree_.path("target"), tree_.path("renamed"));
    fs::remove(tree_.path("link"));
    fs::create_directory_symlink(tree_.path("renamed"), tree_.path("link"));
    tree_.write("renamed/root/a", "changed in place, and nobody told");
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_EQ(feed_->feeds, feeds + 1);
    EXPECT_THAT(test::differencesFromFreshScan(live_->index(), tree_.path("link/root")), IsEmpty());
    EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(LiveIndexTest, ScansARootThatCouldNotBeReadAtFirst) {
    tree_.write("above/root/a");
    // The user changes, the group does not.
    fs::permissions(tree_.path(), fs::perms::group_exec, fs::perm_options::add);
    fs::permissions(root_, fs::perms::none);
    {
        const test::OrdinaryUser user;
        if (!user.isOrdinary()) GTEST_SKIP() << "cannot give up root's rights";
        feed_->state = ChangeFeed::State::refused;
        make();
        live_->start();
        live_->step();
        EXPECT_EQ(live_->index().itemCount(), 0);
        EXPECT_EQ(live_->coverage(), "not watched");
    }
    fs::permissions(root_, fs::perms::owner_all);
    feed_->state = ChangeFeed::State::open;
    pass(5s);
    pass(0s);
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("not told"), HasSubstr("can be read now")));
}

TEST_F(LiveIndexTest, WatchesARootThatIsKnownFromACacheOnceThatIsPossible) {
    tree_.write("above/root/a", "text");
    alive();
    end();
    feed_->state = ChangeFeed::State::refused;
    make();
    live_->start();
    EXPECT_EQ(live_->coverage(), "not watched");
    feed_->state = ChangeFeed::State::open;
    live_->step();
    EXPECT_EQ(live_->coverage(), "made up");
    EXPECT_TRUE(live_->isCompared());
    tree_.write("above/root/b");
    tell("");
    EXPECT_TRUE(live_->flush(1s));
    EXPECT_THAT(differences(), IsEmpty());
}

}  // namespace
}  // namespace dovra
