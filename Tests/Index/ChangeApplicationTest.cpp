#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <stop_token>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "Index/BulkEnumerator.hpp"
#include "Index/ChangeApplication.hpp"
#include "Index/FolderReplay.hpp"
#include "Support/DeepTree.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/FreshScan.hpp"
#include "Support/InMemory.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/TreeStorm.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using test::differencesFromFreshScan;
using test::idOf;
using test::TemporaryTree;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

class ChangeApplication : public testing::Test {
protected:
    void scan() { crawl(index, {tree.path()}, {}); }

    std::vector<std::string> apply(const std::vector<std::string>& paths,
                                   const std::vector<std::string>& subtrees = {}) {
        ChangeBatch batch;
        for (const std::string& path : paths)
            batch.paths.push_back(tree.path(path));
        for (const std::string& path : subtrees)
            batch.subtrees.push_back(tree.path(path));
        return applyChanges(index, batch).unread;
    }

    std::vector<std::string> differences() const { return differencesFromFreshScan(index, tree.path()); }

    const test::InMemory inMemory;
    const TemporaryTree tree;
    FileIndex index;
};

TEST_F(ChangeApplication, EqualsAFreshScanAfterAnyStormWhoseHintsItGot) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        const TemporaryTree stormy;
        test::TreeStorm storm(stormy.path(), seed);
        std::mt19937 random(seed);
        for (int i = 0; i < 60; ++i)
            storm.step();
        FileIndex indexed;
        crawl(indexed, {stormy.path()}, {});
        for (int round = 0; round < 25; ++round) {
            ChangeBatch batch;
            for (std::size_t steps = random() % 20; steps > 0; --steps) {
                const ChangeBatch hints = storm.step();
                batch.paths.insert(batch.paths.end(), hints.paths.begin(), hints.paths.end());
                batch.subtrees.insert(batch.subtrees.end(), hints.subtrees.begin(), hints.subtrees.end());
            }
            std::ranges::shuffle(batch.paths, random);
            EXPECT_THAT(applyChanges(indexed, batch).unread, IsEmpty());
            ASSERT_THAT(differencesFromFreshScan(indexed, stormy.path()), IsEmpty()) << seed << ' ' << round;
        }
    }
}

TEST_F(ChangeApplication, WhatDidNotChangeKeepsItsIdentifier) {
    tree.write("kept/file", "before");
    tree.write("renamed");
    tree.write("turned/below");
    scan();
    const EntryId file = idOf(index, tree.path("kept/file"));
    const EntryId folder = idOf(index, tree.path("kept"));
    tree.write("kept/file", "afterwards");
    fs::rename(tree.path("renamed"), tree.path("name"));
    fs::remove_all(tree.path("turned"));
    tree.write("turned");
    const std::uint64_t before = index.generation();
    apply({"kept/file", "renamed", "name", "turned"});
    EXPECT_GT(index.generation(), before);
    EXPECT_EQ(index.fullPath(file), tree.path("kept/file"));
    EXPECT_EQ(index.fullPath(folder), tree.path("kept"));
    EXPECT_EQ(index.fullPath(idOf(index, tree.path("renamed"))), std::nullopt);
    EXPECT_EQ(index.fullPath(idOf(index, tree.path("turned"))), std::nullopt) << "the folder, not the file";
    EXPECT_EQ(index.itemCount(), 4);
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(ChangeApplication, ChangesNothingWhereNothingChanged) {
    tree.write("folder/file");
    tree.makeFolder("empty");
    scan();
    // Once the stamps are as old as is needed, they are taken over.
    EXPECT_TRUE(test::waitUntil([&] {
        const std::uint64_t before = index.generation();
        EXPECT_THAT(apply({"", "folder", "empty"}, {"folder"}), IsEmpty());
        return index.generation() == before;
    }));
}

TEST_F(ChangeApplication, LeavesTheRestToAReplayAfterAStop) {
    tree.write("folder/file");
    scan();
    tree.write("new/a/b");
    tree.write("folder/other");
    const std::uint64_t before = index.generation();
    std::stop_source stop;
    const ChangeBatch changes{.paths = {tree.path(), tree.path("folder")}, .subtrees = {}};
    CrawlOptions options;
    options.stop = stop.get_token();
    stop.request_stop();
    EXPECT_THAT(applyChanges(index, changes, options).unread, IsEmpty());
    EXPECT_EQ(index.generation(), before);
    EXPECT_THAT(applyChanges(index, {.paths = changedFolders(index), .subtrees = {}}).unread, IsEmpty());
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(ChangeApplication, TakesOverTheTimesOfTheFolderItself) {
    tree.write("a/b/file");
    scan();
    const timespec longAgo[] = {{.tv_sec = 1'000'000, .tv_nsec = 0}, {.tv_sec = 1'000'000, .tv_nsec = 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, tree.path("a/b").c_str(), longAgo, 0), 0);
    apply({"a/b"});
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(ChangeApplication, LooksAboveWhenTheFolderIsUnknownOrGone) {
    tree.write("old/deep/er/file");
    scan();
    tree.write("new/deep/er/file");
    fs::remove_all(tree.path("old"));
    apply({"new/deep/er/file", "old/deep/er"});
    EXPECT_THAT(differences(), IsEmpty());
    fs::remove_all(tree.path());
    apply({"anything"});
    EXPECT_EQ(index.itemCount(), 0);
    tree.write("again/file");
    apply({"again/file"});
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(ChangeApplication, AFolderInTheOthersPlaceIsComparedToTheBottom) {
    tree.write("a/same/x");
    tree.write("b/same/y");
    scan();
    fs::rename(tree.path("a"), tree.path("c"));
    fs::rename(tree.path("b"), tree.path("a"));
    apply({"."}, {"a", "c"});
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(ChangeApplication, LeavesAloneWhatAScanDoesNotHold) {
    tree.write("served/file");
    const TemporaryTree elsewhere;
    elsewhere.write("target/file");
    fs::create_directory_symlink(elsewhere.path("target"), tree.path("served/link"));
    crawl(index, {tree.path("served")}, {});
    tree.write("served-not/file");
    tree.write("beside");
    elsewhere.write("target/more");
    const auto before = test::contentsOf(index);
    apply({"served-not/file", "beside", "served/link/more", ""}, {"served-not"});
    EXPECT_EQ(test::contentsOf(index), before);
}

TEST_F(ChangeApplication, DoesNotEnterKernelFileSystemsNorSkippedFolders) {
    crawl(index, {"/sys/kernel/mm"}, {});  // inside one, its folders are entered
    const std::int64_t count = index.itemCount();
    EXPECT_THAT(applyChanges(index, {.paths = {}, .subtrees = {"/sys/kernel/mm"}}).unread, IsEmpty());
    EXPECT_EQ(index.itemCount(), count);
    FileIndex whole;
    {
        const WriteGuard guard(whole.rwlock);
        whole.storeListingLocked(whole.internDirLocked("/"), *BulkEnumerator::listDirectory("/"));
        DirectoryListing stale;
        stale.add({.name = "stale"});
        whole.storeListingLocked(whole.internDirLocked("/proc"), stale);
    }
    // Of all that lies in "/", nothing but what was listed before is entered when only that is named.
    applyChanges(whole, {.paths = {"/proc"}, .subtrees = {}});
    EXPECT_EQ(whole.fullPath(idOf(whole, "/proc/stale")), std::nullopt);
    applyChanges(whole, {.paths = {"/dev/null"}, .subtrees = {"/dev/shm"}});
    EXPECT_EQ(idOf(whole, "/dev/null"), -1);
}

TEST_F(ChangeApplication, KeepsWhatMayNotBeReadAnyMore) {
    tree.write("closed/file");
    ::chmod(tree.path().c_str(), 0755);
    scan();
    const std::string folder = tree.path("closed");
    ::chmod(folder.c_str(), 0);
    const test::OrdinaryUser user;
    if (!user.isOrdinary()) GTEST_SKIP() << "cannot give up root's rights";
    EXPECT_THAT(apply({"closed", "closed/file"}, {"closed"}), IsEmpty());
    EXPECT_EQ(index.fullPath(idOf(index, tree.path("closed/file"))), tree.path("closed/file"));
}

TEST_F(ChangeApplication, EntersAFolderOnceItMayBeRead) {
    tree.write("closed/file");
    ::chmod(tree.path().c_str(), 0755);
    ::chmod(tree.path("closed").c_str(), 0);
    {
        const test::OrdinaryUser user;
        if (!user.isOrdinary()) GTEST_SKIP() << "cannot give up root's rights";
        scan();
    }
    EXPECT_EQ(index.itemCount(), 1);
    ::chmod(tree.path("closed").c_str(), 0755);
    apply({"closed"});
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(ChangeApplication, HandsInAgainWhatCouldNotBeOpened) {
    tree.write("folder/file");
    scan();
    for (int descriptors = 0; descriptors < 5; ++descriptors) {
        const std::string name = std::to_string(descriptors);
        tree.write("new " + name + "/file");
        tree.write("folder/new " + name + "/deeper/file");
        const ChangeBatch changes = {.paths = {tree.path(), tree.path("folder")}};
        std::vector<std::string> unread;
        {
            const test::FewDescriptors shortage(descriptors);
            unread = applyChanges(index, changes, {.threads = 1}).unread;
        }
        EXPECT_THAT(applyChanges(index, {.paths = unread}).unread, IsEmpty());
        EXPECT_THAT(differences(), IsEmpty()) << descriptors << " descriptors";
    }
}

TEST_F(ChangeApplication, GoesToPathsOfAnyLength) {
    const test::DeepTree deep(tree.path(), std::string(200, 'd'), 60);
    scan();
    std::string path = tree.path();
    for (int level = 0; level < 60; ++level)
        path.append("/").append(200, 'd');
    EXPECT_THAT(applyChanges(index, {.paths = {path}, .subtrees = {}}).unread, IsEmpty());
    EXPECT_EQ(index.itemCount(), 60);
    EXPECT_THAT(applyChanges(index, {.paths = {}, .subtrees = {tree.path()}}).unread, IsEmpty());
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(ChangeApplication, ListsOfFoldersThatChangeForEverDoNotGrow) {
    tree.write("log.0");
    scan();
    for (int i = 0; i < 50; ++i) {
        fs::rename(tree.path("log." + std::to_string(i)), tree.path("log." + std::to_string(i + 1)));
        apply({"."});
    }
    const ReadGuard guard(index.rwlock);
    EXPECT_EQ(index.entriesByDirLocked().ids(0).size(), 1U);
}

}  // namespace
}  // namespace dovra
