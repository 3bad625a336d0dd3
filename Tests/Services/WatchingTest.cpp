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
#include <thread>
#include <unistd.h>
#include <vector>

#include "Support/DeepFile.hpp"
#include "Support/DeepTree.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/FollowedTree.hpp"
#include "Support/Privileges.hpp"
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

/// Runs storms from three sides at once. Events are taken as they come, a few at a time. Every other storm is
/// one of folders. A single change in every folder afterwards shows whether its path is still known.
void expectToFollowStorms(test::FollowedTree& watched, unsigned seed) {
    SCOPED_TRACE(fmt::format("seed {}", seed));
    std::atomic<int> running = 3;
    {
        std::vector<std::jthread> storms;
        for (unsigned side = 0; side < 3; ++side) {
            storms.emplace_back([&, side] {
                test::TreeStorm storm(watched.root, seed * 10 + side,
                                      seed % 2 == 0 ? test::TreeStorm::ofFolders : test::TreeStorm::ofFiles);
                for (int i = 0; i < 400; ++i)
                    storm.step();
                --running;
            });
        }
        while (running > 0)
            watched.follow();
    }
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    std::vector<fs::path> folders;
    for (const auto& entry : fs::recursive_directory_iterator(watched.tree.path())) {
        if (entry.is_directory() && !entry.is_symlink()) folders.push_back(entry.path());
    }
    for (const fs::path& folder : folders)
        std::ofstream(folder / "touched", std::ios::app) << "once more";
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty()) << "afterwards";
}

TEST_P(Watching, FollowsStormsFromThreeSides) {
    for (unsigned seed = 1; seed <= 8; ++seed)
        ASSERT_NO_FATAL_FAILURE(expectToFollowStorms(watched, seed));
    EXPECT_EQ(watched.scans, 1);
}

TEST_P(Watching, FollowsWhatLeavesTheRootAndWhatEnters) {
    test::FollowedTree followed(GetParam(), {.root = "above/root"});
    for (const char* step :
         {"write a/b/c/file; write other/file", "rename a ../outside; write ../outside/b/file",
          "rename ../outside back; write back/b/ours", "write ../in/a/b/file; rename ../in in",
          "write in/a/b/more; remove other; write other"})
        ASSERT_TRUE(followed.follows(step));
    if (GetParam() == WatchMechanism::watches) {
        ASSERT_TRUE(followed.follows("remove back; rename in/a ../out; write ../out/b/file"));
        EXPECT_EQ(followed.source->coverage(), "2 folders (inotify)");
    }
    EXPECT_EQ(followed.scans, 1);
    // The root goes and comes back, alone or with a folder above it.
    const std::pair<const char*, const char*> ways[] = {{"rename above away", "rename away above"},
                                                        {"rename above/root away", "rename away above/root"},
                                                        {"remove above/root", "folder above/root"}};
    for (const auto& [gone, back] : ways) {
        ASSERT_TRUE(test::perform(followed.tree.path(), gone));
        followed.follow();
        ASSERT_TRUE(test::perform(followed.tree.path(), back));
        ASSERT_TRUE(followed.follows("write in/more")) << gone;
        ASSERT_TRUE(followed.follows("write new/deeper/file")) << gone;
    }
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

TEST_P(Watching, NamesAFewFilesAndNoMore) {
    if (GetParam() == WatchMechanism::polling) return;
    const auto writeAll = [&](std::string_view bytes) {
        tree.write("few/a", bytes);
        for (int i = 0; i < 17; ++i)
            tree.write(fmt::format("many/{}", i), bytes);
    };
    writeAll("");
    watched.follow();
    writeAll("longer");
    tree.write("few/b");
    const ChangeBatch batch = watched.follow();
    EXPECT_THAT(batch.files, testing::UnorderedElementsAre(watched.path("few/a"), watched.path("few/b")));
    EXPECT_THAT(batch.paths, testing::ElementsAre(watched.path("many")));
    EXPECT_THAT(batch.subtrees, IsEmpty());
}

TEST_P(Watching, FollowsTreesFarDeeperThanAPathCanTell) {
    const std::string name(50, 'd');
    const test::DeepTree deep(tree.path(), name, 300);
    const auto makeAndRemove = [&](const std::string& folder) {
        for (const std::string& each : {folder, folder + "/inner"}) {
            ASSERT_EQ(::mkdirat(deep.bottom(), each.c_str(), 0700), 0);
            ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
        }
        for (const std::string& each : {folder + "/inner", folder})
            ASSERT_EQ(::unlinkat(deep.bottom(), each.c_str(), AT_REMOVEDIR), 0);
        ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    };
    std::string above;
    for (int level = 0; level < 40; ++level)
        above += "../";
    ASSERT_NO_FATAL_FAILURE(makeAndRemove(above + "aside"));
    ASSERT_TRUE(watched.follows("rename " + name + " moved"));
    ASSERT_NO_FATAL_FAILURE(makeAndRemove("further"));
    ASSERT_TRUE(watched.follows("rename moved " + name));
    EXPECT_EQ(watched.scans, 1);
}

TEST_P(Watching, IsNotKeptByDeepTreesElsewhere) {
    const test::TemporaryTree outside;
    const test::DeepTree deep(outside.path(), "d", 20'000);
    EXPECT_TRUE(watched.follow().empty());
}

TEST(WatchLimit, FoldersWithoutAWatchArePolled) {
    test::FollowedTree watched(WatchMechanism::watches, {.root = {}, .maxWatches = 20});
    for (unsigned seed = 1; seed <= 4; ++seed)
        ASSERT_NO_FATAL_FAILURE(expectToFollowStorms(watched, seed));
    for (int i = 0; i < 20; ++i)
        watched.tree.makeFolder(fmt::format("more/{}", i));
    ASSERT_THAT(watched.differencesAfterFlush(), IsEmpty());
    EXPECT_THAT(watched.source->coverage(), HasSubstr("polling"));
    EXPECT_THAT(watched.reports, testing::ElementsAre(HasSubstr("max_user_watches"))) << "told once";
}

/// Opens a source where no inotify instance is left: 0 when that is reported once and with the setting, 2
/// when such a place cannot be made.
int openWithoutInstances(const std::string& root) {
    // The limits of a new user namespace bind no other process.
    std::ofstream limit;
    if (::unshare(CLONE_NEWUSER) == 0) limit.open("/proc/sys/user/max_inotify_instances");
    if (!limit.is_open() || !(limit << 0).flush()) return 2;
    std::vector<std::string> reports;
    const auto source = openEventSource(
        {.root = root, .mechanism = WatchMechanism::watches, .report = [&](const std::string& message) {
             reports.push_back(message);
         }});
    source->drain();
    const bool isTold = reports.size() == 1 && reports[0].find("max_user_instances") != std::string::npos;
    return isTold && source->coverage().find("polling") != std::string::npos ? 0 : 1;
}

TEST(WatchLimit, TellsWhenNoInotifyInstanceIsLeft) {
    const test::TemporaryTree tree;
    const int outcome = test::inAChild([&] { return openWithoutInstances(tree.path()); });
    if (outcome == 2) GTEST_SKIP() << "this user may not limit itself";
    EXPECT_EQ(outcome, 0);
}

/// The stop comes while the tree is opened, or afterwards.
TEST(WatchingStopped, LooksAtNoFurtherFolderOnceItIsStopped) {
    for (const auto mechanism : {WatchMechanism::watches, WatchMechanism::polling}) {
        for (const int most : {50, 150}) {
            const test::TemporaryTree tree;
            for (int i = 0; i < 50; ++i)
                tree.makeFolder(fmt::format("{}/deeper/deepest", i));
            std::stop_source stop;
            int folders = 0;
            WatchOptions options{.root = tree.path(), .mechanism = mechanism, .stop = stop.get_token()};
            options.entersFolder = [&](std::string_view) {
                if (most == 50) stop.request_stop();
                return ++folders != 0;
            };
            const auto source = openEventSource(options);
            EXPECT_LE(folders, most);
            tree.makeFolder("new/deeper");
            stop.request_stop();
            folders = 0;
            source->drain();
            EXPECT_EQ(folders, 0);
        }
    }
}

class LostEvents : public testing::Test {
protected:
    void SetUp() override {
        if (followed.source->coverage().find("fanotify") == std::string::npos)
            GTEST_SKIP() << "whole file systems cannot be watched here; " << followed.source->coverage();
    }

    test::FollowedTree followed{WatchMechanism::best};
};

TEST_F(LostEvents, AreNotThoseOfAMomentWithoutDescriptors) {
    ASSERT_TRUE(test::perform(followed.root, "write folder/file"));
    followed.source->drain();
    {
        const test::FewDescriptors shortage(0);
        EXPECT_TRUE(followed.source->take({})->empty());
    }
    ASSERT_TRUE(followed.source->hasChanges());
    EXPECT_THAT(followed.differencesAfterFlush(), IsEmpty());
    EXPECT_EQ(followed.scans, 1);
    EXPECT_FALSE(followed.source->hasChanges());
}

TEST_F(LostEvents, AskForAScanWhenMoreWaitsThanMemoryShouldHold) {
    // The folder is on the same file system, but none of its changes is reported.
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

TEST(WatchLimit, AFullQueueAsksForAScanAndIsCaughtUpWith) {
    std::ifstream setting("/proc/sys/fs/inotify/max_queued_events");
    int limit = 0;
    setting >> limit;
    if (limit <= 0 || limit > 200'000) GTEST_SKIP() << "a queue of " << limit << " events is not filled";
    test::FollowedTree followed(WatchMechanism::watches);
    // Two names take turns, because equal events in a row are merged.
    const std::string names[] = {followed.tree.write("a"), followed.tree.write("b")};
    for (int i = 0; i <= limit; ++i)
        ASSERT_EQ(::truncate(names[i % 2].c_str(), i), 0);
    followed.tree.makeFolder("unheard of/deeper");
    EXPECT_TRUE(followed.follow().mustRescan);
    followed.source->drain();
    EXPECT_FALSE(followed.source->hasChanges());
    followed.tree.write("unheard of/deeper/file");
    EXPECT_THAT(followed.follow().files, testing::ElementsAre(followed.path("unheard of/deeper/file")));
}

}  // namespace
}  // namespace dovra
