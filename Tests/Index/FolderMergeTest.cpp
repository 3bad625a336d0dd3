#include <gtest/gtest.h>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/FolderMerge.hpp"

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

}  // namespace
}  // namespace dovra
