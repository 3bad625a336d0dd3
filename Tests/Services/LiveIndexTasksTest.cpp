#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "Services/LiveIndexLife.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

/// What is done beside the steps: saves, and rounds of comparison with the disk.
class LiveIndexTasks : public test::LiveIndexLife {
protected:
    void changeAndWait(const std::string& name) {
        change(name);
        live_->step();
        now_ += options_.saveInterval;
    }
};

TEST_F(LiveIndexTasks, SaveNothingThatIsNotWholeOrWasOvertakenByALoss) {
    beAlive();
    const ino_t before = cacheInode();
    changeAndWait("worth a save");
    feed_->waiting.loseTrack();
    live_->flush(1s);
    EXPECT_FALSE(live_->nextTask());
    end();
    EXPECT_EQ(cacheInode(), before);
    beAlive();
    changeAndWait("worth another");
    auto saving = live_->nextTask();
    ASSERT_TRUE(saving);
    const auto finish = saving->run();
    live_->rebuild();
    finish();
    EXPECT_FALSE(fs::exists(cachePath()));
}

TEST_F(LiveIndexTasks, SaveNoMoreOftenThanTheIntervalAndWhatFailedAgain) {
    options_.saveInterval = 3s;
    beAlive();
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

TEST_F(LiveIndexTasks, LoseNoChangeThatComesDuringASave) {
    options_.saveInterval = 1s;
    beAlive();
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

TEST_F(LiveIndexTasks, SaveAtTheEndWhatChangedSinceTheLastSaveAndNothingElse) {
    beAlive();
    const ino_t first = cacheInode();
    end();
    EXPECT_EQ(cacheInode(), first);
    begin();
    test::trustStamps(live_->index());
    end();
    EXPECT_EQ(cacheInode(), first);
    beAlive();
    change("a");
    live_->step();
    end();
    EXPECT_NE(cacheInode(), first);
}

TEST_F(LiveIndexTasks, SaveNotBecauseOfASave) {
    // The program's own folder lies in the served tree, and is reached by a link.
    const std::string own = tree_.makeFolder("above/root/data/Dovra");
    fs::create_directory_symlink(own, data_.path("Dovra"));
    beAlive();
    const ino_t first = cacheInode();
    for (int i = 0; i < 3; ++i) {
        tell("");
        tell("data/Dovra");
        feed_->waiting.addFile(own + "/index.cache.new");
        pass(10min);
    }
    EXPECT_EQ(cacheInode(), first);
    // Where nothing but the time of a folder is another one, what was told decides.
    const auto savesAfterTouching = [&](const std::string& folder, const std::function<void()>& tellIt) {
        const ino_t before = cacheInode();
        fs::last_write_time(folder, fs::last_write_time(folder) - 1h);
        tellIt();
        pass(1s);
        pass(5min);
        return cacheInode() != before;
    };
    EXPECT_FALSE(savesAfterTouching(own, [&] { tell("data/Dovra"); }));
    const std::string other = tree_.makeFolder("above/root/data/other");
    EXPECT_TRUE(savesAfterTouching(other, [&] { tell("data"); }));
    EXPECT_TRUE(savesAfterTouching(other, [&] { feed_->waiting.addFile(other + "/file"); }));
    EXPECT_TRUE(savesAfterTouching(other, [&] { feed_->waiting.addSubtree(other); }));
}

TEST_F(LiveIndexTasks, FindWhatNobodyToldAndSaySo) {
    for (const char* path : {"a/file", "b/file", "gone/file"})
        write(path);
    beAlive();
    write("a/file", "longer");
    write("new/deep/file");
    fs::remove_all(root_ + "/gone");
    live_->flush(1s);
    EXPECT_THAT(differences(), testing::Not(IsEmpty()));
    EXPECT_GT(findsOfARound(), 0);
    EXPECT_THAT(differences(), IsEmpty());
    EXPECT_THAT(reports_, ElementsAre(HasSubstr("had changed without being told")));
    write("b/file", "told");
    tell("b");
    EXPECT_EQ(findsOfARound(), 0);
    EXPECT_EQ(reports_.size(), 1U);
}

TEST_F(LiveIndexTasks, EnterWhatMayBeReadByNow) {
    write("closed/file");
    if (!withoutEntering(root_ + "/closed", [&] { beAlive(); }))
        GTEST_SKIP() << "cannot give up root's rights";
    EXPECT_FALSE(has("closed/file"));
    fs::permissions(root_ + "/closed", fs::perms::owner_all);
    findsOfARound();
    EXPECT_TRUE(has("closed/file"));
}

TEST_F(LiveIndexTasks, FindNothingThatIsToldOrCannotBeTold) {
    write("a/file");
    beAlive();
    // A folder that appeared is told as a subtree, and shows in the one above, so it has to be taken in
    // first.
    const std::function<void()> tellings[] = {
        [&] { feed_->waiting.addSubtree(root_ + "/a/new"); },
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
        if (round > 0) write("a/file", text += "longer");
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

TEST_F(LiveIndexTasks, CountForNothingIfARebuildOvertookTheirReading) {
    for (const char* path : {"a/file", "b/file"})
        write(path);
    beAlive();
    live_->flush(1s);
    now_ += 10min;
    live_->nextTask()->run()();  // the stamps
    auto reading = live_->nextTask();
    ASSERT_TRUE(reading);
    EXPECT_FALSE(live_->nextTask()) << "one reading at a time";
    write("b/file", "untold");
    const auto finish = reading->run();
    live_->rebuild();
    live_->step();
    write("a/file", "untold");
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

TEST_F(LiveIndexTasks, RestOnBatteryAndAfterWhatTheyRead) {
    beAlive();
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

}  // namespace
}  // namespace dovra
