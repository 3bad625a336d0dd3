#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Index/Crawl.hpp"
#include "Index/FolderReplay.hpp"
#include "Platform/Paths.hpp"
#include "Support/DeepFile.hpp"
#include "Support/Stamps.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FolderReplay, TellsTheFoldersWhoseStampsAreOtherOnes) {
    const test::TemporaryTree tree;
    for (const char* file : {"same/file", "changed/file", "unknown/file"})
        tree.write(file);
    FileIndex index;
    crawl(index, {tree.path()}, {});
    test::trustStamps(index);
    EXPECT_TRUE(changedFolders(index).empty());
    // The time of modification is put back, as an unpacked archive does.
    struct stat before {};
    ASSERT_EQ(::stat(tree.path("changed").c_str(), &before), 0);
    tree.write("changed/new");
    const timespec times[] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, tree.path("changed").c_str(), times, 0), 0);
    {
        const WriteGuard guard(index.rwlock);
        index.setStampLocked(*index.directoriesLocked().find(tree.path("unknown")), {});
    }
    const ChangeBatch changed = changedFolders(index);
    EXPECT_THAT(changed.paths, testing::UnorderedElementsAre(tree.path("changed"), tree.path("unknown")));
    EXPECT_THAT(changed.subtrees, IsEmpty());
}

TEST(FolderReplay, TellsWhatIsTooDeepByTheLastFolderThatIsNot) {
    const test::TemporaryTree tree;
    const test::DeepFile deep(tree.path(), "");
    FileIndex index;
    crawl(index, {tree.path()}, {});
    test::trustStamps(index);
    const std::size_t last = (maxPathBytes - tree.path().size()) / 201 * 201 + tree.path().size();
    const ChangeBatch changed = changedFolders(index);
    EXPECT_THAT(changed.paths, IsEmpty());
    EXPECT_THAT(changed.subtrees, ElementsAre(deep.path.substr(0, last)));
}

}  // namespace
}  // namespace dovra
