#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/FileIndex.hpp"
#include "Index/FolderMerge.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

using test::addTree;
using test::allPaths;
using test::idOf;
using test::makeIndex;
using testing::ElementsAre;
using testing::Pair;

/// The paths of the live entries.
std::vector<std::string> livePaths(const FileIndex& index) {
    std::vector<std::string> live;
    for (std::size_t id = 0; id < allPaths(index).size(); ++id) {
        if (const auto path = index.fullPath(static_cast<EntryId>(id))) live.push_back(*path);
    }
    return live;
}

void tombstone(FileIndex& index, std::string_view path) {
    const EntryId id = idOf(index, path);
    const WriteGuard guard(index.rwlock);
    index.tombstoneLocked(id);
}

TEST(FileIndex, TombstonesWhatLiesBelowAFolderAndNothingElse) {
    // The roots lie in unknown folders, one root in another.
    FileIndex index;
    for (const char* root : {"/a/b", "/a", "/ab"})
        addTree(index, {std::string(root) + "/x/y"}, root);
    const WriteGuard guard(index.rwlock);
    const FolderTable& folders = index.directoriesLocked();
    EXPECT_EQ(index.internChildDirLocked(*folders.find("/a"), "b"), folders.find("/a/b")) << "no other";
    for (const char* path : {"/nowhere", "/a"})
        index.tombstoneSubtreeLocked(path);
    std::vector<std::string_view> live;
    for (const FileEntry& entry : index.entriesLocked()) {
        if (!entry.isTombstone()) live.push_back(index.nameLocked(entry));
    }
    EXPECT_THAT(live, ElementsAre("x", "y"));
}

TEST(FileIndex, KnowsThePathsOfLiveEntriesAndWhichFoldersWereListed) {
    const auto index = makeIndex({"/top\xFF\n", "/a/b c"});
    EXPECT_EQ(index->fullPath(0), "/top\xFF\n");
    EXPECT_EQ(index->fullPath(-1), std::nullopt);
    EXPECT_EQ(index->fullPath(3), std::nullopt);
    for (int twice = 0; twice < 2; ++twice)
        tombstone(*index, "/a/b c");
    EXPECT_EQ(index->fullPath(2), std::nullopt);
    const std::vector<EntryId> ids = {2, 1, 0};
    EXPECT_THAT(index->resolvePathsLocking(ids), ElementsAre(Pair(0, "/top\xFF\n")));
    EXPECT_EQ(index->itemCount(), 2);
    const WriteGuard guard(index->rwlock);
    const EntryId unlisted = index->appendEntryLocked({.name = "unlisted", .isDir = true}, 0);
    const auto contents = [&](EntryId id) {
        return index->contentsOfLocked(index->entriesLocked()[static_cast<std::size_t>(id)]);
    };
    EXPECT_EQ(contents(1), index->directoriesLocked().find("/a"));
    EXPECT_EQ(contents(unlisted), std::nullopt);
    index->internDirLocked("/unlisted");
    EXPECT_EQ(contents(unlisted), std::nullopt);
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
    EXPECT_TRUE(index->hasTrigramIndex());
    // An emptied index is as good as a new one.
    EXPECT_FALSE(aside.hasTrigramIndex());
    addTree(aside, {"/new"});
    for (const FileIndex* emptied : {&aside, index.get()})
        EXPECT_FALSE(indexDifference(*emptied, *makeIndex({"/new"})));
}

TEST(FolderMerge, ANameThatIsListedTwiceCountsOnce) {
    const auto index = makeIndex({"/folder/"});
    FolderListing listing;
    for (const char* name : {"b", "a", "b"})
        listing.add({.name = name});
    const DirIndex folder = index->directoriesLocked().find("/folder").value();
    EXPECT_TRUE(mergeListing(*index, folder, listing, {}).isChanged);
    EXPECT_FALSE(mergeListing(*index, folder, listing, {}).isChanged);
    EXPECT_THAT(livePaths(*index), ElementsAre("/folder", "/folder/b", "/folder/a")) << "as they are listed";
    EXPECT_TRUE(indexViolations(*index).empty());
}

TEST(FolderMerge, TellsChangesOfTheFolderFromThoseBelowAndOfItsStamp) {
    const auto index = makeIndex({"/child/"});
    const auto merge = [&](double childTime, const FolderStamp& stamp) {
        FolderListing listing;
        listing.add({.name = "child", .isDir = true, .modTime = childTime});
        const std::uint64_t before = index->generation();
        EXPECT_FALSE(mergeListing(*index, 0, listing, stamp).isChanged);
        const ReadGuard guard(index->rwlock);
        EXPECT_EQ(index->stampLocked(0), stamp);
        return index->generation() != before;
    };
    constexpr FolderStamp stamp{.device = 1, .inode = 2, .modified = 3, .changed = 4};
    EXPECT_TRUE(merge(7, {})) << "the time of the child";
    EXPECT_TRUE(merge(7, stamp)) << "the stamp alone";
    EXPECT_FALSE(merge(7, stamp));
    const std::string_view gone[] = {"child"};
    EXPECT_TRUE(mergeNames(*index, 0, {}, gone).isChanged);
    const ReadGuard guard(index->rwlock);
    EXPECT_EQ(index->stampLocked(0), stamp) << "only a whole listing proves one";
}

TEST(FolderMerge, TellsAFileThatComesBackFromTheFormerOneOfItsName) {
    const auto index = test::makeIndex({"/a/file", "/b/file"});
    const std::string_view names[] = {"file"};
    for (const std::uint64_t size : {1, 2, 0, 3, 4}) {
        for (const DirIndex folder : {1, 2}) {
            FolderListing listing;
            if (size != 0) listing.add({.name = names[0], .size = size});
            mergeNames(*index, folder, listing, names);
            const ReadGuard guard(index->rwlock);
            const std::vector<EntryId> ids = index->entriesByDirLocked().ids(folder);
            ASSERT_EQ(ids.size(), listing.count());
            for (const EntryId id : ids)
                EXPECT_EQ(index->entriesLocked()[static_cast<std::size_t>(id)].size, size);
        }
    }
    EXPECT_TRUE(indexViolations(*index).empty());
}

}  // namespace
}  // namespace dovra
