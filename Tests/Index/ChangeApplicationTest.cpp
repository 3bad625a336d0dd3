#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <stop_token>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "Index/ChangeApplication.hpp"
#include "Index/FolderReplay.hpp"
#include "Support/DeepFile.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/FreshScan.hpp"
#include "Support/InMemory.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/TreeStorm.hpp"

namespace dovra {
namespace {

using test::differencesFromFreshScan;
using test::idOf;
using test::TemporaryTree;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;

class ChangeApplication : public testing::Test {
protected:
    void scan() { crawl(index, {tree.path()}, {}); }

    /// Takes relative paths; "." is the root.
    AppliedChanges apply(ChangeBatch batch) {
        for (auto* paths : {&batch.paths, &batch.files, &batch.subtrees}) {
            for (std::string& path : *paths)
                path = path == "." ? tree.path() : tree.path(path);
        }
        return applyChanges(index, batch);
    }

    std::vector<std::string> differences() const { return differencesFromFreshScan(index, tree.path()); }

    const test::InMemory inMemory;
    const TemporaryTree tree;
    FileIndex index;
};

TEST_F(ChangeApplication, EqualsAFreshScanAfterAnyStormWhoseHintsItGot) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        const TemporaryTree stormy;
        // In a large folder, single files are looked at.
        for (unsigned i = 0; i < 300 * (seed % 2); ++i)
            stormy.write("file" + std::to_string(i));
        test::TreeStorm storm(stormy.path(), seed);
        std::mt19937 random(seed);
        for (int i = 0; i < 60; ++i)
            storm.step();
        FileIndex indexed;
        crawl(indexed, {stormy.path()}, {});
        for (int round = 0; round < 25; ++round) {
            ChangeBatch batch;
            for (std::size_t steps = random() % 20; steps > 0; --steps) {
                ChangeBatch hints = storm.step();
                std::ranges::move(hints.paths, std::back_inserter(batch.paths));
                std::ranges::move(hints.files, std::back_inserter(batch.files));
                std::ranges::move(hints.subtrees, std::back_inserter(batch.subtrees));
            }
            std::ranges::shuffle(batch.paths, random);
            EXPECT_TRUE(applyChanges(indexed, batch).unread.empty());
            ASSERT_THAT(differencesFromFreshScan(indexed, stormy.path()), IsEmpty()) << seed << ' ' << round;
        }
    }
}

TEST_F(ChangeApplication, WhatDidNotChangeKeepsItsIdentifier) {
    tree.write("kept/file", "before");
    tree.write("renamed/deep/file");
    tree.write("turned/below");
    scan();
    const EntryId file = idOf(index, tree.path("kept/file"));
    tree.write("kept/file", "afterwards");
    fs::rename(tree.path("renamed"), tree.path("name"));
    fs::remove_all(tree.path("turned"));
    tree.write("turned");
    const std::uint64_t before = index.generation();
    const AppliedChanges applied = apply({.paths = {"kept/file", "renamed", "name", "turned"}});
    EXPECT_THAT(applied.changed, UnorderedElementsAre(tree.path(), tree.path("kept"), tree.path("name")));
    EXPECT_GT(index.generation(), before);
    EXPECT_EQ(idOf(index, tree.path("kept/file")), file);
    EXPECT_EQ(index.fullPath(idOf(index, tree.path("renamed/deep/file"))), std::nullopt);
    EXPECT_EQ(index.fullPath(idOf(index, tree.path("turned"))), std::nullopt) << "the folder, not the file";
    EXPECT_THAT(differences(), IsEmpty());
    const std::uint64_t afterwards = index.generation();
    EXPECT_THAT(apply({.paths = {".", "kept"}, .files = {"kept/file"}, .subtrees = {"name"}}).changed,
                IsEmpty());
    EXPECT_EQ(index.generation(), afterwards) << "where nothing changed";
}

TEST_F(ChangeApplication, ListsOfFoldersThatChangeForEverDoNotGrow) {
    tree.write("log.0");
    scan();
    for (int i = 0; i < 5; ++i) {
        fs::rename(tree.path(fmt::format("log.{}", i)), tree.path(fmt::format("log.{}", i + 1)));
        apply({.paths = {"."}});
    }
    const ReadGuard guard(index.rwlock);
    EXPECT_EQ(index.entriesByDirLocked().ids(0).size(), 1U);
}

TEST_F(ChangeApplication, LooksAtSingleFilesOfALargeFolder) {
    for (int i = 0; i < 300; ++i)
        tree.write("large/file" + std::to_string(i));
    scan();
    tree.write("large/file1", "changed");
    tree.write("large/untold");
    apply({.files = {"large/file1", "large/never"}});
    EXPECT_THAT(differences(), ElementsAre(testing::HasSubstr("untold"))) << "and at no others";
    apply({.files = {"large/untold"}});
    ::chmod(tree.path().c_str(), 0755);
    ::chmod(tree.path("large").c_str(), 0444);
    {
        const test::OrdinaryUser user;
        if (!user.isOrdinary()) GTEST_SKIP() << "cannot give up root's rights";
        apply({.files = {"large/file7"}});
    }
    ::chmod(tree.path("large").c_str(), 0755);
    EXPECT_NE(index.fullPath(idOf(index, tree.path("large/file7"))), std::nullopt) << "it may only be listed";
    fs::remove_all(tree.path("large"));
    apply({.files = {"large/file7"}});
    EXPECT_THAT(differences(), IsEmpty()) << "where a folder is gone, the one above is listed";
}

TEST_F(ChangeApplication, LeavesTheRestToAReplayAfterAStop) {
    tree.write("folder/file");
    scan();
    tree.write("new/a/b");
    tree.write("folder/other");
    const std::uint64_t before = index.generation();
    std::stop_source stop;
    stop.request_stop();
    CrawlOptions options;
    options.stop = stop.get_token();
    const ChangeBatch changes{.paths = {tree.path(), tree.path("folder")}};
    EXPECT_TRUE(applyChanges(index, changes, options).unread.empty());
    EXPECT_EQ(index.generation(), before);
    EXPECT_TRUE(applyChanges(index, changedFolders(index)).unread.empty());
    EXPECT_THAT(differences(), IsEmpty());
}

TEST_F(ChangeApplication, AMissingRootIsTheCallersToForget) {
    tree.write("served/file");
    crawl(index, {tree.path("served")}, {});
    const auto before = test::contentsOf(index);
    fs::rename(tree.path("served"), tree.path("elsewhere"));
    const ChangeBatch unread = apply({.paths = {"served/file"}}).unread;
    EXPECT_THAT(unread.subtrees, ElementsAre(tree.path("served")));
    EXPECT_EQ(test::contentsOf(index), before);
    tree.write("elsewhere/deep/file");
    fs::rename(tree.path("elsewhere"), tree.path("served"));
    EXPECT_TRUE(applyChanges(index, unread).unread.empty());
    EXPECT_THAT(differencesFromFreshScan(index, tree.path("served")), IsEmpty());
}

TEST_F(ChangeApplication, LeavesAloneWhatAScanDoesNotHold) {
    tree.write("served/file");
    const TemporaryTree elsewhere;
    elsewhere.write("target/file");
    fs::create_directory_symlink(elsewhere.path("target"), tree.path("served/link"));
    crawl(index, {tree.path("served")}, {});
    tree.write("served-not/file");
    elsewhere.write("target/more");
    const auto before = test::contentsOf(index);
    apply({.paths = {"served-not/file", "served/link/more", ""}, .subtrees = {"served-not"}});
    EXPECT_EQ(test::contentsOf(index), before);
}

TEST_F(ChangeApplication, ForgetsWhatIsCoveredByAFileSystemOfTheKernel) {
    tree.write("above/covered/file");
    for (const ChangeBatch& batch :
         {ChangeBatch{.paths = {"above/covered"}}, ChangeBatch{.subtrees = {"above"}}}) {
        index.reset();
        scan();
        const test::MountedFolder kernel("proc", tree.path("above/covered"));
        if (!kernel.isMounted()) GTEST_SKIP() << "needs the right to mount";
        EXPECT_THAT(apply(batch).changed, ElementsAre(tree.path("above/covered")));
        EXPECT_EQ(index.fullPath(idOf(index, tree.path("above/covered/file"))), std::nullopt);
        apply({.paths = {"above/covered/sys"}, .subtrees = {"above/covered/self"}});
        EXPECT_EQ(index.itemCount(), 2);
        FileIndex inside;
        crawl(inside, {tree.path("above/covered/sys/kernel/random")}, {});
        EXPECT_TRUE(applyChanges(inside, {.subtrees = {tree.path("above/covered/sys/kernel/random")}})
                        .changed.empty());
        EXPECT_GT(inside.itemCount(), 0) << "inside one, its folders are entered";
    }
}

TEST_F(ChangeApplication, KeepsWhatMayNotBeReadAndLooksOnceItMay) {
    const std::string closed = tree.makeFolder("closed");
    ::chmod(tree.path().c_str(), 0755);
    const auto asOthers = [&](const auto& body) {
        ::chmod(closed.c_str(), 0);
        const test::OrdinaryUser user;
        return user.isOrdinary() && (body(), true);
    };
    if (!asOthers([&] { scan(); })) GTEST_SKIP() << "cannot give up root's rights";
    asOthers([&] { EXPECT_TRUE(apply({.subtrees = {"."}}).unread.empty()) << "as a scan leaves it"; });
    ::chmod(closed.c_str(), 0755);
    apply({.paths = {"closed"}});
    EXPECT_THAT(differences(), IsEmpty()) << "never listed before";
    for (const ChangeBatch& batch : {ChangeBatch{.subtrees = {"closed"}}, ChangeBatch{.subtrees = {"."}},
                                     ChangeBatch{.paths = {"closed/below"}}}) {
        const auto before = test::contentsOf(index);
        ChangeBatch unread;
        asOthers([&] { unread = apply(batch).unread; });
        ::chmod(closed.c_str(), 0755);
        EXPECT_EQ(test::contentsOf(index), before);
        tree.write("closed/below/" + std::to_string(before.size()));
        applyChanges(index, unread);
        EXPECT_THAT(differences(), IsEmpty());
    }
}

TEST_F(ChangeApplication, HandsInAgainWhatCouldNotBeOpened) {
    tree.write("folder/file");
    scan();
    for (int descriptors = 0; descriptors < 5; ++descriptors) {
        tree.write(fmt::format("new {}/file", descriptors));
        tree.write(fmt::format("folder/new {}/deeper/file", descriptors));
        ChangeBatch unread;
        {
            const test::FewDescriptors shortage(descriptors);
            unread = apply({.paths = {".", "folder"}}).unread;
        }
        EXPECT_TRUE(applyChanges(index, unread).unread.empty());
        EXPECT_THAT(differences(), IsEmpty()) << descriptors << " descriptors";
    }
}

TEST_F(ChangeApplication, GoesToPathsOfAnyLength) {
    const test::DeepFile deep(tree.path(), "before");
    scan();
    const EntryId file = idOf(index, deep.path);
    for (const ChangeBatch& changes : {ChangeBatch{.files = {deep.path}}, {.subtrees = {tree.path()}}}) {
        ASSERT_GT(::write(deep.descriptor, "more", 4), 0);
        const AppliedChanges applied = applyChanges(index, changes);
        EXPECT_TRUE(applied.unread.empty());
        ASSERT_THAT(applied.changed, SizeIs(1));
        EXPECT_TRUE(deep.path.starts_with(applied.changed.front()) && applied.changed.front().size() < 4096);
        EXPECT_EQ(idOf(index, deep.path), file);
        EXPECT_THAT(differences(), IsEmpty());
    }
}

}  // namespace
}  // namespace dovra
