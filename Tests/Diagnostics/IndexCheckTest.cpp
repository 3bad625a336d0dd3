#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Diagnostics/IndexCheck.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

std::unique_ptr<FileIndex> soundIndex() {
    auto index = test::makeIndex({"/a/b/c.txt", "/a/b/d\xFF", "/e", "/empty/"});
    const WriteGuard guard(index->rwlock);
    index->tombstoneSubtreeLocked("/a/b");
    return index;
}

/// Adds one entry to a folder whose list holds nothing else.
void appendListed(FileIndex& index, const RawDirent& entry) DOVRA_REQUIRES(index.rwlock) {
    const DirIndex folder = index.internDirLocked("/empty");
    FolderListing listing;
    listing.add(entry);
    index.storeListingLocked(folder, listing);
}

TEST(IndexCheck, TellsWhatIsWrong) {
    EXPECT_THAT(indexViolations(FileIndex()), IsEmpty());
    EXPECT_THAT(indexViolations(*soundIndex()), IsEmpty());
    const std::pair<const char*, std::function<void(FileIndex&)>> cases[] = {
        {"listed entries",
         [](FileIndex& index) DOVRA_REQUIRES(index.rwlock) {
             index.appendEntryLocked({.name = "lost"}, index.internDirLocked("/empty"));
         }},
        {"folders of entries", [](FileIndex& index) DOVRA_REQUIRES(
                                   index.rwlock) { index.appendEntryLocked({.name = "lost"}, 1000); }},
        {"names",
         [](FileIndex& index) DOVRA_REQUIRES(index.rwlock) { appendListed(index, {.name = "a/b"}); }},
        {"folder sizes", [](FileIndex& index) DOVRA_REQUIRES(
                             index.rwlock) { appendListed(index, {.name = "f", .isDir = true, .size = 1}); }},
        {"types",
         [](FileIndex& index) DOVRA_REQUIRES(index.rwlock) {
             appendListed(index, {.name = "f", .isDir = true, .isSymlink = true});
         }},
        {"whole seconds", [](FileIndex& index) DOVRA_REQUIRES(
                              index.rwlock) { appendListed(index, {.name = "f", .modTime = 0.5}); }},
        {"entries of folders",
         [](FileIndex& index) DOVRA_REQUIRES(index.rwlock) {
             index.storeListingLocked(index.internDirLocked("/unknown"), {});
         }},
    };
    for (const auto& [violation, damage] : cases) {
        const auto index = soundIndex();
        {
            const WriteGuard guard(index->rwlock);
            damage(*index);
        }
        EXPECT_THAT(indexViolations(*index), Contains(HasSubstr(violation)));
    }
    const auto index = soundIndex();
    index->attachTrigramIndex(std::make_shared<TrigramIndex>());
    EXPECT_THAT(indexViolations(*index), Contains(HasSubstr("trigrams"))) << "names that were not posted";
}

TEST(IndexCheck, TellsTheFirstDifferenceOfTwoIndexes) {
    const auto index = test::makeIndex({{"/a/b", 1}, {"/c", 2}});
    const auto difference = [&](const std::vector<test::IndexItem>& items) {
        return indexDifference(*index, *test::makeIndex(items)).value_or("none");
    };
    EXPECT_EQ(difference({{"/a/b", 1}, {"/c", 2}}), "none");
    EXPECT_THAT(difference({{"/a/b", 1}, {"/c", 3}}), HasSubstr("(/c)"));
    EXPECT_THAT(difference({{"/a/", 0}, {"/c", 2}}), HasSubstr("(/a)"));
    EXPECT_THAT(difference({{"/a/b", 1}, {"/a/c", 1}, {"/c", 2}}), HasSubstr("(/a)"));
}

}  // namespace
}  // namespace dovra
