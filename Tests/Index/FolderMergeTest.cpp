#include <gtest/gtest.h>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/FolderMerge.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

TEST(FolderMerge, ANameThatIsListedTwiceCountsOnce) {
    FileIndex index;
    DirectoryListing listing;
    for (const char* name : {"b", "a", "b"})
        listing.add({.name = name});
    DirIndex folder = 0;
    {
        const WriteGuard guard(index.rwlock);
        folder = index.internDirLocked("/folder");
    }
    EXPECT_TRUE(mergeListing(index, folder, listing, {}).isChanged);
    EXPECT_FALSE(mergeListing(index, folder, listing, {}).isChanged);
    EXPECT_EQ(index.itemCount(), 2);
    EXPECT_EQ(index.fullPath(0), "/folder/b") << "in the order of the listing";
    EXPECT_TRUE(indexViolations(index).empty());
}

TEST(FolderMerge, TellsChangesOfTheFolderFromThoseBelowAndOfItsStamp) {
    const auto index = test::makeIndex({"/child/"});
    const auto merge = [&](double childTime, const FolderStamp& stamp) {
        DirectoryListing listing;
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
            DirectoryListing listing;
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
