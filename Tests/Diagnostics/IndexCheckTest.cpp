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

TEST(IndexCheck, TellsWhatIsWrong) {
    EXPECT_THAT(indexViolations(FileIndex()), IsEmpty());
    EXPECT_THAT(indexViolations(*soundIndex()), IsEmpty());
    const auto expectViolation = [](const char* violation, const std::function<void(FileIndex&)>& damage) {
        const auto index = soundIndex();
        damage(*index);
        EXPECT_THAT(indexViolations(*index), Contains(HasSubstr(violation)));
    };
    // An entry as the only one of its folder's list.
    const std::pair<const char*, RawDirent> wrong[] = {
        {"names", {.name = "a/b"}},
        {"folder sizes", {.name = "f", .isDir = true, .size = 1}},
        {"types", {.name = "f", .isDir = true, .isSymlink = true}},
        {"whole seconds", {.name = "f", .modTime = 0.5}}};
    for (const auto& [violation, entry] : wrong) {
        expectViolation(violation, [&entry = entry](FileIndex& index) {
            FolderListing listing;
            listing.add(entry);
            const WriteGuard guard(index.rwlock);
            index.storeListingLocked(index.internDirLocked("/empty"), listing);
        });
    }
    for (const auto& [violation, folder] : {std::pair{"listed entries", 0}, {"folders of entries", 1000}}) {
        expectViolation(violation, [folder = folder](FileIndex& index) {
            const WriteGuard guard(index.rwlock);
            index.appendEntryLocked({.name = "lost"}, folder);
        });
    }
    expectViolation("entries of folders", [](FileIndex& index) {
        const WriteGuard guard(index.rwlock);
        index.storeListingLocked(index.internDirLocked("/unknown"), {});
    });
    expectViolation("trigrams", [](FileIndex& index) {  // of names that were not posted
        index.attachTrigramIndex(std::make_shared<TrigramIndex>());
    });
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
