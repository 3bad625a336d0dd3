#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <stop_token>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "Support/DeepFile.hpp"
#include "Support/DeepTree.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/FollowedTree.hpp"
#include "Support/TreeScript.hpp"
#include "Support/TreeStorm.hpp"
#include "Support/WatchMechanisms.hpp"

namespace dovra {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

class Watching : public testing::TestWithParam<WatchMechanism> {
protected:
    void SetUp() override {
        const std::string coverage = watched.source->coverage();
        if (GetParam() == WatchMechanism::best && coverage.find("fanotify") == std::string::npos)
            GTEST_SKIP() << "whole file systems cannot be watched here; " << coverage;
    }

    test::FollowedTree watched{GetParam()};
    const test::TemporaryTree& tree = watched.tree;
};

INSTANTIATE_TEST_SUITE_P(, Watching, test::everyMechanism, test::mechanismName);

using Step = std::function<void(test::TreeStorm&)>;

const Step anyStep = [](test::TreeStorm& storm) { storm.step(); };
const Step folderStep = [](test::TreeStorm& storm) { storm.stepOfFolders(); };

/// Storms from three sides at once, whose events are taken as they come, a few at a time.
void makeStorms(test::FollowedTree& watched, unsigned seed, int steps, const Step& step = anyStep) {
    std::atomic<int> running = 3;
    std::vector<std::jthread> storms;
    for (unsigned side = 0; side < 3; ++side) {
        storms.emplace_back([&, side] {
            test::TreeStorm storm(watched.tree.path(), seed * 10 + side);
            for (int i = 0; i < steps; ++i)
                step(storm);
            --running;
        });
    }
    while (running > 0)
        watched.follow();
}

/// Changes something in every folder, and nothing else: whether each is still known by its path.
void touchEveryFolder(const test::TemporaryTree& tree) {
    std::vector<fs::path> folders;
    for (const auto& entry : fs::recursive_directory_iterator(tree.path())) {
        if (entry.is_directory() && !entry.is_symlink()) folders.push_back(entry.path());
    }
    for (const fs::path& folder : folders)
        std::ofstream(folder / "touched", std::ios::app) << "once more";
}

TEST_P(Watching, StormsFromThreeSidesLeaveNoDifference) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        makeStorms(watched, seed, 600);
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty()) << "seed " << seed;
        touchEveryFolder(watched.tree);
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty()) << "seed " << seed << ", afterwards";
    }
}

TEST_P(Watching, StormsOfFoldersLeaveNoDifference) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
        makeStorms(watched, seed, 250, folderStep);
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty()) << "seed " << seed;
        touchEveryFolder(watched.tree);
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty()) << "seed " << seed << ", afterwards";
    }
    EXPECT_EQ(watched.scans, 1);
}

TEST_P(Watching, FollowsFoldersThatAreMadeMovedAndReplaced) {
    fs::create_directories(watched.path("a/b/c"));
    tree.write("a/b/c/file", "1");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    fs::rename(watched.path("a"), watched.path("moved"));
    tree.write("moved/b/c/file", "22");
    tree.write("moved/b/new/deep/file");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    tree.write("moved/b/new/deep/later");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    tree.write("other/b/c/another file");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_TRUE(test::perform(tree.path(), "rename moved away; rename other moved"));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    fs::remove_all(watched.path("moved"));
    tree.write("moved", "a file now");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    fs::remove(watched.path("moved"));
    tree.write("moved/b/c/file", "a folder again");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    tree.write("moved/b/c/file", "longer than before");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    EXPECT_EQ(watched.scans, 1);
}

TEST_P(Watching, FollowsWhatComesFromOutsideAndGoesThere) {
    const test::TemporaryTree outside;
    outside.write("in/a/b/file");
    fs::rename(outside.path("in"), watched.path("in"));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    tree.write("in/a/b/more");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    fs::rename(watched.path("in/a"), outside.path("out"));
    outside.write("out/b/not ours");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    if (GetParam() == WatchMechanism::watches) {
        EXPECT_EQ(watched.source->coverage(), "2 folders (inotify)");
    }
    fs::rename(outside.path("out"), watched.path("back"));
    tree.write("back/b/ours");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
}

TEST_P(Watching, FollowsThousandsOfFilesUnpackedAndDeleted) {
    for (int folder = 0; folder < 60; ++folder) {
        for (int file = 0; file < 50; ++file)
            tree.write(fmt::format("pack/{}/{}/{}", folder % 7, folder, file), "x");
    }
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    fs::remove_all(watched.path("pack"));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    EXPECT_EQ(watched.index.itemCount(), 0);
    EXPECT_EQ(watched.scans, 1);
}

TEST_P(Watching, FollowsAtomicSavesBesideALogThatGrows) {
    std::ofstream log(watched.path("log"));
    for (int i = 0; i < 200; ++i) {
        log << "line " << i << '\n' << std::flush;
        tree.write("new", std::string(static_cast<std::size_t>(i), 'x'));
        fs::rename(watched.path("new"), watched.path("document"));
        if (i % 50 == 0) {
            ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
        }
    }
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    EXPECT_EQ(watched.scans, 1);
}

TEST_P(Watching, ComesBackWhenTheWatchedFolderDoes) {
    tree.write("a/file");
    fs::remove_all(tree.path());
    watched.follow();
    tree.write("b/file");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    tree.write("b/more");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
}

TEST_P(Watching, FollowsNamesOfAnyBytesAndPathsOfAnyLength) {
    tree.write("line\nend (deleted)/\xFF\xFE/file");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    const test::DeepFile deep(tree.path(), "x");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::write(deep.descriptor, "more", 4), 4);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    EXPECT_EQ(watched.scans, 1);
}

TEST_P(Watching, LosesNothingThatChangesDuringTheScan) {
    tree.write("before/file");
    std::atomic<bool> isOver = false;
    std::jthread storm([&] {
        test::TreeStorm changes(tree.path(), 7);
        while (!isOver)
            changes.step();
    });
    for (int i = 0; i < 3; ++i)
        watched.rescan();
    isOver = true;
    storm.join();
    EXPECT_THAT(watched.differencesAfterFlush(), IsEmpty());
}

TEST_P(Watching, NamesAFewFilesAndNoMore) {
    if (GetParam() == WatchMechanism::polling) return;
    tree.write("few/a");
    for (int i = 0; i < 17; ++i)
        tree.write(fmt::format("many/{}", i));
    watched.follow();
    tree.write("few/a", "longer");
    tree.write("few/b");
    for (int i = 0; i < 17; ++i)
        tree.write(fmt::format("many/{}", i), "longer");
    const ChangeBatch batch = watched.follow();
    EXPECT_THAT(batch.files, testing::UnorderedElementsAre(watched.path("few/a"), watched.path("few/b")));
    EXPECT_THAT(batch.paths, testing::ElementsAre(watched.path("many")));
    EXPECT_THAT(batch.subtrees, IsEmpty());
}

TEST_P(Watching, FollowsTreesFarDeeperThanAPathCanTell) {
    const std::string name(50, 'd');
    const test::DeepTree deep(tree.path(), name, 300);
    std::string above;
    for (int level = 0; level < 40; ++level)
        above += "../";
    const std::string aside = above + "aside";
    ASSERT_EQ(::mkdirat(deep.bottom(), aside.c_str(), 0700), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::mkdirat(deep.bottom(), (aside + "/inner").c_str(), 0700), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::unlinkat(deep.bottom(), (aside + "/inner").c_str(), AT_REMOVEDIR), 0);
    ASSERT_EQ(::unlinkat(deep.bottom(), aside.c_str(), AT_REMOVEDIR), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    fs::rename(watched.path(name), watched.path("moved"));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::mkdirat(deep.bottom(), "further", 0700), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::mkdirat(deep.bottom(), "further/and further", 0700), 0);
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    ASSERT_EQ(::unlinkat(deep.bottom(), "further/and further", AT_REMOVEDIR), 0);
    ASSERT_EQ(::unlinkat(deep.bottom(), "further", AT_REMOVEDIR), 0);
    fs::rename(watched.path("moved"), watched.path(name));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    EXPECT_EQ(watched.scans, 1);
}

TEST_P(Watching, IsNotKeptByDeepTreesElsewhere) {
    const test::TemporaryTree outside;
    const test::DeepTree deep(outside.path(), "d", 20'000);
    EXPECT_TRUE(watched.follow().empty());
}

TEST_P(Watching, ComesBackWithAFolderAboveTheRoot) {
    test::FollowedTree followed(GetParam(), {.root = "above/root"});
    followed.tree.write("above/root/a/file");
    ASSERT_THAT(followed.differencesAfterFlush(), IsEmpty());
    fs::rename(followed.path("above"), followed.path("away"));
    followed.tree.write("away/root/a/more");
    followed.follow();
    fs::rename(followed.path("away"), followed.path("above"));
    ASSERT_THAT(followed.differencesAfterFlush(), IsEmpty());
    followed.tree.write("above/root/new/deeper/file");
    EXPECT_THAT(followed.differencesAfterFlush(), IsEmpty());
}

TEST(WatchLimit, FoldersWithoutAWatchArePolled) {
    test::FollowedTree watched(WatchMechanism::watches, {.root = {}, .maxWatches = 20});
    for (unsigned seed = 1; seed <= 4; ++seed) {
        makeStorms(watched, seed, 300);
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty()) << "seed " << seed;
        touchEveryFolder(watched.tree);
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty()) << "seed " << seed << ", afterwards";
    }
    for (int i = 0; i < 20; ++i)
        watched.tree.makeFolder(fmt::format("more/{}", i));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    EXPECT_THAT(watched.source->coverage(), HasSubstr("polling"));
    EXPECT_THAT(watched.reports, testing::ElementsAre(HasSubstr("max_user_watches"))) << "told once";
}

/// Opens a source where no inotify instance is left, and ends the process: with 0 when that was told once and
/// with the setting, with 2 when such a place cannot be made.
[[noreturn]] void openWithoutInstances(const std::string& root) {
    // Limits of its own, which bind nobody else.
    std::ofstream limit;
    if (::unshare(CLONE_NEWUSER) == 0) limit.open("/proc/sys/user/max_inotify_instances");
    if (!limit.is_open() || !(limit << 0).flush()) std::_Exit(2);
    std::vector<std::string> reports;
    WatchOptions options;
    options.root = root;
    options.mechanism = WatchMechanism::watches;
    options.report = [&](const std::string& message) { reports.push_back(message); };
    const auto source = openEventSource(options);
    source->drain();
    const bool isTold = reports.size() == 1 && reports[0].find("max_user_instances") != std::string::npos;
    std::_Exit(isTold && source->coverage().find("polling") != std::string::npos ? 0 : 1);
}

TEST(WatchLimit, TellsWhenNoInotifyInstanceIsLeft) {
    const test::TemporaryTree tree;
    const pid_t child = ::fork();
    if (child == 0) openWithoutInstances(tree.path());
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "this user may not limit itself";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

class WatchingStopped : public testing::TestWithParam<WatchMechanism> {};

INSTANTIATE_TEST_SUITE_P(, WatchingStopped, testing::Values(WatchMechanism::watches, WatchMechanism::polling),
                         test::mechanismName);

TEST_P(WatchingStopped, EndsInTheMidstOfOpening) {
    const test::TemporaryTree tree;
    for (int i = 0; i < 50; ++i)
        tree.makeFolder(fmt::format("{}/deeper/deepest", i));
    std::stop_source stop;
    int folders = 0;
    WatchOptions options;
    options.root = tree.path();
    options.mechanism = GetParam();
    options.stop = stop.get_token();
    options.entersFolder = [&](std::string_view) {
        stop.request_stop();
        ++folders;
        return true;
    };
    const auto source = openEventSource(options);
    EXPECT_LE(folders, 50) << "no folder after the one at which the stop came";
    source->drain();
    EXPECT_LE(folders, 50);
}

TEST_P(WatchingStopped, LooksAtNoFolderAfterwards) {
    const test::TemporaryTree tree;
    int folders = 0;
    std::stop_source stop;
    WatchOptions options;
    options.root = tree.path();
    options.mechanism = GetParam();
    options.stop = stop.get_token();
    options.entersFolder = [&](std::string_view) { return ++folders != 0; };
    const auto source = openEventSource(options);
    tree.makeFolder("new/deeper");
    stop.request_stop();
    source->drain();
    EXPECT_EQ(folders, 0);
}

TEST(LostEvents, AreNotThoseOfAMomentWithoutDescriptors) {
    const test::InMemory inMemory;
    const test::TemporaryTree tree;
    WatchOptions options;
    options.root = tree.path();
    const auto source = openEventSource(options);
    ASSERT_NE(source, nullptr);
    if (source->coverage().find("fanotify") == std::string::npos)
        GTEST_SKIP() << "whole file systems cannot be watched here; " << source->coverage();
    tree.write("folder/file");
    source->drain();
    {
        const test::FewDescriptors shortage(0);
        EXPECT_TRUE(source->take({})->empty());
    }
    ASSERT_TRUE(source->hasChanges());
    const ChangeBatch batch = *source->take({});
    EXPECT_THAT(batch.subtrees, testing::ElementsAre(tree.path("folder")));
    EXPECT_FALSE(batch.mustRescan);
    EXPECT_FALSE(source->hasChanges());
}

TEST(LostEvents, AskForAScanWhenMoreWaitsThanMemoryShouldHold) {
    test::FollowedTree followed(WatchMechanism::best);
    if (followed.source->coverage().find("fanotify") == std::string::npos)
        GTEST_SKIP() << "whole file systems cannot be watched here; " << followed.source->coverage();
    // On the same file system, but nothing of it would be told.
    const test::TemporaryTree elsewhere;
    const auto nameOf = [&](int number) { return elsewhere.path(fmt::format("{:0>250}", number)); };
    ASSERT_EQ(::mkdir(nameOf(0).c_str(), 0700), 0);
    constexpr int names = (64 << 20) / 250 + 1;
    for (int i = 0; i < names; ++i) {
        ASSERT_EQ(::rename(nameOf(i).c_str(), nameOf(i + 1).c_str()), 0);
        if (i % 10'000 == 0) followed.source->drain();
    }
    EXPECT_TRUE(followed.follow().mustRescan);
}

TEST(LostEvents, AskForAScanAndAreCaughtUpWith) {
    const test::InMemory inMemory;
    const test::TemporaryTree tree;
    std::ifstream setting("/proc/sys/fs/inotify/max_queued_events");
    int limit = 0;
    setting >> limit;
    if (limit <= 0 || limit > 200'000) GTEST_SKIP() << "a queue of " << limit << " events is not filled";
    WatchOptions options;
    options.root = tree.path();
    options.mechanism = WatchMechanism::watches;
    const auto source = openEventSource(options);
    ASSERT_NE(source, nullptr);
    // Two names in turn, because equal events that follow each other are merged.
    const std::string names[] = {tree.write("a"), tree.write("b")};
    for (int i = 0; i <= limit; ++i)
        ASSERT_EQ(::truncate(names[i % 2].c_str(), i), 0);
    tree.makeFolder("unheard of/deeper");
    source->drain();
    EXPECT_TRUE(source->take({})->mustRescan);
    source->drain();
    EXPECT_FALSE(source->hasChanges());
    tree.write("unheard of/deeper/file");
    source->drain();
    EXPECT_THAT(source->take({})->files, testing::ElementsAre(tree.path("unheard of/deeper/file")));
}

}  // namespace
}  // namespace dovra
