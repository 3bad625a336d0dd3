#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/ChangeApplication.hpp"
#include "Index/Crawl.hpp"
#include "Index/FolderReplay.hpp"
#include "Index/Snapshot.hpp"
#include "Support/DeepTree.hpp"
#include "Support/FreshScan.hpp"
#include "Support/InMemory.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"
#include "Support/RawSnapshot.hpp"
#include "Support/Snapshots.hpp"
#include "Support/Stamps.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using test::loadBytes;
using test::RawSnapshot;
using test::snapshotOf;
using test::soundSnapshot;
using testing::Eq;
using testing::IsEmpty;

TEST(Snapshot, WritesWhatTheLayoutSays) {
    FileIndex index;
    ASSERT_TRUE(loadBytes(index, soundSnapshot().bytes()));
    EXPECT_EQ(snapshotOf(index), soundSnapshot().bytes());
    index.attachTrigramIndex(std::make_shared<TrigramIndex>());
    ASSERT_TRUE(loadBytes(index, soundSnapshot().bytes()));
    EXPECT_THAT(indexViolations(index), IsEmpty()) << "with a trigram index";
    EXPECT_EQ(snapshotOf(FileIndex()), (RawSnapshot{}).bytes());
}

TEST(Snapshot, EndsWhenTheIndexChangesOrNoMoreIsWanted) {
    FileIndex index;
    ASSERT_TRUE(loadBytes(index, soundSnapshot().bytes()));
    int pieces = 0;
    const auto encode = [&](int last, bool goesOn) {
        pieces = 0;
        return encodeSnapshot(index, 7, 1, [&](std::string_view) {
            if (++pieces != last) return true;
            const WriteGuard guard(index.rwlock);
            index.raiseGenerationLocked();
            return goesOn;
        });
    };
    EXPECT_EQ(encode(0, true), Encoded::whole);
    const int all = pieces;
    for (int last = 1; last <= all; ++last) {
        EXPECT_EQ(encode(last, true), last < all ? Encoded::changed : Encoded::whole) << last;
        EXPECT_EQ(encode(last, false), Encoded::abandoned) << last;
        EXPECT_EQ(pieces, last);
    }
}

TEST(Snapshot, ADeepTreeIsSavedInProportionAndFoundAgain) {
    const test::InMemory inMemory;
    const test::TemporaryTree tree;
    tree.write("beside/file");
    const test::DeepTree deep(tree.path(), std::string(200, 'd'), 120);
    FileIndex index;
    crawl(index, {tree.path()}, {});
    test::trustStamps(index);
    const std::string bytes = snapshotOf(index);
    EXPECT_LT(bytes.size(),
              90'000U);  // 24 000 for the names, once; all paths would take a million and a half
    FileIndex loaded;
    ASSERT_TRUE(loadBytes(loaded, bytes));
    EXPECT_THAT(test::differencesFromFreshScan(loaded, tree.path(), test::Compared::whatIsSaved), IsEmpty());
    const ChangeBatch changed = changedFolders(loaded);
    EXPECT_EQ(changed.paths.size(), 1U) << "the one whose contents are left out";
    applyChanges(loaded, changed);
    EXPECT_THAT(test::differencesFromFreshScan(loaded, tree.path()), IsEmpty());
}

/// Folders and files at random, some of them deleted, below one root or several.
std::unique_ptr<FileIndex> randomIndex(unsigned seed) {
    std::mt19937 random(seed);
    const std::string alphabet("aB.\xC3\xA9\xFF \n", 8);
    auto index = std::make_unique<FileIndex>();
    for (const std::string root : {"/r/one", "/r/two/deep", "/"}) {
        test::IndexBuilder builder(root);
        std::vector<std::string> folders = {root == "/" ? "" : root};
        for (int i = 0; i < 150; ++i) {
            const std::string path =
                folders[random() % folders.size()] + "/" + test::randomText(random, alphabet, 1, 9);
            if (path.ends_with("/.") || path.ends_with("/..") || path.starts_with("/r/")) continue;
            const bool isFolder = random() % 3 == 0;
            builder.add(
                {isFolder ? path + "/" : path, isFolder ? 0 : random(), static_cast<double>(random())});
            if (isFolder) folders.push_back(path);
        }
        builder.storeIn(*index);
        if (seed % 3 == 0) break;
    }
    const WriteGuard guard(index->rwlock);
    for (std::size_t i = 5; i < index->directoriesLocked().count(); i += 5)
        index->tombstoneSubtreeLocked(index->directoriesLocked().path(static_cast<DirIndex>(i)));
    return index;
}

TEST(Snapshot, EverythingSurvivesASaveAndALoad) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        const auto index = randomIndex(seed);
        const std::string bytes = snapshotOf(*index);
        FileIndex loaded;
        ASSERT_TRUE(loadBytes(loaded, bytes)) << seed;
        EXPECT_THAT(indexDifference(*index, loaded), Eq(std::nullopt)) << seed;
        EXPECT_THAT(indexViolations(loaded), IsEmpty()) << seed;
        EXPECT_EQ(snapshotOf(loaded), bytes) << seed;
    }
}

}  // namespace
}  // namespace dovra
