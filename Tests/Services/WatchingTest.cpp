#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <sched.h>
#include <stop_token>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "Index/ChangeApplication.hpp"
#include "Services/FSEventsWatcher.hpp"
#include "Support/DeepFile.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/FreshScan.hpp"
#include "Support/InMemory.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/TreeStorm.hpp"
#include "Support/WatchMechanisms.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

/// A tree on the disk with an index of it that a watcher keeps current, as the services do.
class WatchedTree {
public:
    explicit WatchedTree(WatchMechanism mechanism, std::size_t maxWatches = SIZE_MAX,
                         std::chrono::milliseconds latency = 50ms)
        : watcher_(options(mechanism, maxWatches),
                   {.callback = [this](const ChangeBatch& batch) { apply(batch); },
                    .onMustRescan = [this] { rescan(); }},
                   latency) {}

    /// Arms, scans while `meanwhile` runs, and starts.
    bool start(const std::function<void()>& meanwhile = [] {}) {
        if (!watcher_.arm()) return false;
        meanwhile();
        crawl(index, {tree.path()}, {});
        return watcher_.start();
    }

    std::vector<std::string> differencesAfterFlush() {
        if (!watcher_.flush(20s)) return {"the flush took too long"};
        return test::differencesFromFreshScan(index, tree.path());
    }

    FSEventsWatcher& watcher() { return watcher_; }
    int rescans() const { return rescans_; }
    std::string path(const std::string& name) const { return tree.path(name); }

    const test::InMemory inMemory;
    const test::TemporaryTree tree;
    FileIndex index;
    std::vector<std::string> reports;

private:
    WatchOptions options(WatchMechanism mechanism, std::size_t maxWatches) {
        WatchOptions watch;
        watch.maxWatches = maxWatches;
        watch.root = tree.path();
        watch.mechanism = mechanism;
        watch.report = [this](const std::string& message) { reports.push_back(message); };
        return watch;
    }

    void apply(const ChangeBatch& batch) {
        ChangeBatch all = batch;
        all.paths.insert(all.paths.end(), unread_.begin(), unread_.end());
        unread_ = applyChanges(index, all).unread;
    }

    void rescan() {
        ++rescans_;
        index.reset();
        crawl(index, {tree.path()}, {});
    }

    std::vector<std::string> unread_;
    std::atomic<int> rescans_{0};
    FSEventsWatcher watcher_;
};

class Watching : public testing::TestWithParam<WatchMechanism> {
protected:
    void SetUp() override {
        const bool started = watched.start();
        ASSERT_TRUE(started);
        const std::string coverage = watched.watcher().coverage();
        if (GetParam() == WatchMechanism::best && coverage.find("fanotify") == std::string::npos)
            GTEST_SKIP() << "whole file systems cannot be watched here; " << coverage;
    }

    WatchedTree watched{GetParam()};
    const test::TemporaryTree& tree = watched.tree;
};

INSTANTIATE_TEST_SUITE_P(, Watching, test::everyMechanism, test::mechanismName);

using Step = std::function<void(test::TreeStorm&)>;

const Step anyStep = [](test::TreeStorm& storm) { storm.step(); };
const Step folderStep = [](test::TreeStorm& storm) { storm.stepOfFolders(); };

/// Storms from three sides at once, and a fourth that has the events taken as they come, a few at a time.
void makeStorms(WatchedTree& watched, unsigned seed, int steps, const Step& step = anyStep) {
    std::atomic<bool> isOver = false;
    std::jthread flushing([&] {
        while (!isOver)
            watched.watcher().flush(20s);
    });
    {
        std::vector<std::jthread> storms;
        for (unsigned side = 0; side < 3; ++side) {
            storms.emplace_back([&, side] {
                test::TreeStorm storm(watched.tree.path(), seed * 10 + side);
                for (int i = 0; i < steps; ++i)
                    step(storm);
            });
        }
    }
    isOver = true;
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
    EXPECT_EQ(watched.rescans(), 0);
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
    fs::remove_all(watched.path("moved"));
    tree.write("moved", "a file now");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    fs::remove(watched.path("moved"));
    tree.write("moved/b/c/file", "a folder again");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    tree.write("moved/b/c/file", "longer than before");
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    EXPECT_EQ(watched.rescans(), 0);
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
    EXPECT_EQ(watched.rescans(), 0);
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
    EXPECT_EQ(watched.rescans(), 0);
}

TEST_P(Watching, ComesBackWhenTheWatchedFolderDoes) {
    tree.write("a/file");
    fs::remove_all(tree.path());
    ASSERT_TRUE(watched.watcher().flush(20s));
    EXPECT_EQ(watched.index.itemCount(), 0);
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
    EXPECT_EQ(watched.rescans(), 0);
}

TEST_P(Watching, LosesNothingThatChangesDuringTheScan) {
    WatchedTree scanned(GetParam());
    scanned.tree.write("before/file");
    std::atomic<bool> isOver = false;
    std::thread storm([&] {
        test::TreeStorm changes(scanned.tree.path(), 7);
        while (!isOver)
            changes.step();
    });
    for (int i = 0; i < 3; ++i)
        scanned.tree.write(fmt::format("more/{}", i));
    ASSERT_TRUE(scanned.start([&] { scanned.tree.write("meanwhile/file"); }));
    isOver = true;
    storm.join();
    EXPECT_THAT(scanned.differencesAfterFlush(), IsEmpty());
}

TEST(WatchLimit, FoldersWithoutAWatchArePolled) {
    WatchedTree watched(WatchMechanism::watches, 20);
    ASSERT_TRUE(watched.start());
    for (unsigned seed = 1; seed <= 4; ++seed) {
        makeStorms(watched, seed, 300);
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty()) << "seed " << seed;
        touchEveryFolder(watched.tree);
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty()) << "seed " << seed << ", afterwards";
    }
    for (int i = 0; i < 20; ++i)
        watched.tree.makeFolder(fmt::format("more/{}", i));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    EXPECT_THAT(watched.watcher().coverage(), HasSubstr("polling"));
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
    WatchOptions options;
    options.root = tree.path();
    options.mechanism = GetParam();
    options.entersFolder = [&](std::string_view) { return ++folders != 0; };
    const auto source = openEventSource(options);
    tree.makeFolder("new/deeper");
    source->stop();
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
    EXPECT_THAT(source->take({})->paths, testing::ElementsAre(tree.path("unheard of/deeper")));
}

}  // namespace
}  // namespace dovra
