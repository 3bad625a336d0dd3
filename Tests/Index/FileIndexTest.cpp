#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/FileIndex.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

using test::addTree;
using test::allPaths;
using test::idOf;
using test::makeIndex;
using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

/// The paths of the entries that are not tombstones.
std::vector<std::string> livePaths(const FileIndex& index) {
    std::vector<std::string> live;
    for (std::size_t id = 0; id < allPaths(index).size(); ++id) {
        if (const auto path = index.fullPath(static_cast<EntryId>(id))) live.push_back(*path);
    }
    return live;
}

void tombstoneSubtree(FileIndex& index, std::string_view path) {
    const WriteGuard guard(index.rwlock);
    index.tombstoneSubtreeLocked(path);
}

void tombstone(FileIndex& index, std::string_view path) {
    const EntryId id = idOf(index, path);
    const WriteGuard guard(index.rwlock);
    index.tombstoneLocked(id);
}

TEST(FileIndex, TombstonesWhatLiesBelowAFolderAndNothingElse) {
    FileIndex index;
    addTree(index, {"/a/b/c/x"}, "/a/b");
    addTree(index, {"/a/bb/y"}, "/a/bb");
    addTree(index, {"/a/z", "/a/c/d/e"}, "/a");
    tombstoneSubtree(index, "/nowhere");
    tombstoneSubtree(index, "/a/b");
    EXPECT_THAT(livePaths(index), UnorderedElementsAre("/a/bb/y", "/a/z", "/a/c", "/a/c/d", "/a/c/d/e"));
    tombstoneSubtree(index, "/a/c");
    EXPECT_THAT(livePaths(index), UnorderedElementsAre("/a/bb/y", "/a/z", "/a/c"));
    tombstoneSubtree(index, "/a");
    EXPECT_THAT(livePaths(index), ElementsAre());
    EXPECT_EQ(index.itemCount(), 0);
}

TEST(FileIndex, KnowsThePathsOfLiveEntries) {
    const auto index = makeIndex({"/top\xFF\n", "/a/b c"});
    EXPECT_EQ(index->fullPath(0), "/top\xFF\n");
    EXPECT_EQ(index->fullPath(2), "/a/b c");
    EXPECT_EQ(index->fullPath(-1), std::nullopt);
    EXPECT_EQ(index->fullPath(3), std::nullopt);
    const std::vector<EntryId> ids = {2, 1, 0};
    EXPECT_THAT(index->resolvePathsLocking(ids),
                UnorderedElementsAre(Pair(0, "/top\xFF\n"), Pair(2, "/a/b c")));
    for (int twice = 0; twice < 2; ++twice)
        tombstone(*index, "/a/b c");
    EXPECT_EQ(index->fullPath(2), std::nullopt);
    EXPECT_THAT(index->resolvePathsLocking(ids), ElementsAre(Pair(0, "/top\xFF\n")));
    EXPECT_EQ(index->itemCount(), 2);
}

TEST(FileIndex, TellsAnEmptyFolderFromOneThatWasNotListed) {
    const auto index = makeIndex({"/empty/", "/full/x"});
    {
        const WriteGuard guard(index->rwlock);
        index->appendEntryLocked({.name = "unlisted", .isDir = true}, *index->directoriesLocked().find("/"));
    }
    const EntryId unlisted = idOf(*index, "/unlisted");
    const ReadGuard guard(index->rwlock);
    const auto entry = [&](EntryId id) { return index->entriesLocked()[static_cast<std::size_t>(id)]; };
    EXPECT_EQ(index->contentsOfLocked(entry(0)), index->directoriesLocked().find("/empty"));
    EXPECT_EQ(index->contentsOfLocked(entry(1)), index->directoriesLocked().find("/full"));
    EXPECT_EQ(index->contentsOfLocked(entry(unlisted)), std::nullopt);
}

TEST(FileIndex, HandsItsContentsToAnother) {
    FileIndex aside;
    aside.attachTrigramIndex(std::make_shared<TrigramIndex>());
    addTree(aside, {"/one", "/two/three"});
    tombstone(aside, "/one");
    const auto index = makeIndex({"/before"});
    const std::uint64_t generation = index->generation();
    index->replaceContents(aside.takeContents());
    EXPECT_EQ(index->generation(), generation + 1);
    EXPECT_THAT(livePaths(*index), ElementsAre("/two", "/two/three"));
    EXPECT_TRUE(index->hasTrigramIndex());
    EXPECT_THAT(indexViolations(*index), ElementsAre());
    index->reset();
    EXPECT_EQ(index->generation(), generation + 2);
    addTree(*index, {"/new"});
    EXPECT_THAT(indexViolations(*index), ElementsAre()) << "the trigram index was emptied too";
    // What was emptied is as good as new.
    EXPECT_FALSE(aside.hasTrigramIndex());
    addTree(aside, {"/new"});
    for (const FileIndex* emptied : {&aside, index.get()})
        EXPECT_FALSE(indexDifference(*emptied, *makeIndex({"/new"})));
}

}  // namespace
}  // namespace dovra
