#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "Diagnostics/IndexCheck.hpp"
#include "Index/ChangeApplication.hpp"
#include "Index/Crawl.hpp"
#include "Index/DiskComparison.hpp"
#include "Index/IndexImage.hpp"
#include "Support/DeepTree.hpp"
#include "Support/FreshScan.hpp"
#include "Support/InMemory.hpp"
#include "Support/IndexImages.hpp"
#include "Support/RawIndexImage.hpp"
#include "Support/Stamps.hpp"
#include "Support/TemporaryTree.hpp"
#include "Support/TreeStorm.hpp"

namespace dovra {
namespace {

using test::imageOf;
using test::loadBytes;
using test::RawIndexImage;
using test::soundIndexImage;
using testing::Eq;
using testing::IsEmpty;

TEST(IndexImageEncoder, WritesWhatTheLayoutSays) {
    FileIndex index;
    ASSERT_TRUE(loadBytes(index, soundIndexImage().bytes()));
    EXPECT_EQ(imageOf(index), soundIndexImage().bytes());
    index.attachTrigramIndex(std::make_shared<TrigramIndex>());
    ASSERT_TRUE(loadBytes(index, soundIndexImage().bytes()));
    EXPECT_THAT(indexViolations(index), IsEmpty()) << "with a trigram index";
    EXPECT_EQ(imageOf(FileIndex()), (RawIndexImage{}).bytes());
}

TEST(IndexImageEncoder, EndsWhenTheIndexChangesOrNoMoreIsWanted) {
    FileIndex index;
    ASSERT_TRUE(loadBytes(index, soundIndexImage().bytes()));
    int pieces = 0;
    const auto encode = [&](int last, bool goesOn) {
        pieces = 0;
        return encodeIndexImage(index, 7, 1, [&](std::string_view) {
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

TEST(IndexImageEncoder, ADeepTreeIsSavedInProportionAndFoundAgain) {
    const test::InMemory inMemory;
    const test::TemporaryTree tree;
    tree.write("beside/file");
    const test::DeepTree deep(tree.path(), std::string(200, 'd'), 120);
    FileIndex index;
    crawl(index, {tree.path()}, {});
    test::trustStamps(index);
    const std::string bytes = imageOf(index);
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

TEST(IndexImageEncoder, EverythingSurvivesASaveAndALoad) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        const test::TemporaryTree tree;
        test::TreeStorm storm(tree.path(), seed);
        // The scan has several roots, one in another, and some entries are deleted.
        FileIndex index;
        crawl(index, {tree.makeFolder("a"), tree.makeFolder("b/c"), tree.path("b")}, {});
        for (int i = 0; i < 300; ++i)
            applyChanges(index, storm.step());
        const std::string bytes = imageOf(index);
        FileIndex loaded;
        ASSERT_TRUE(loadBytes(loaded, bytes)) << seed;
        EXPECT_THAT(indexDifference(index, loaded), Eq(std::nullopt)) << seed;
        EXPECT_THAT(indexViolations(loaded), IsEmpty()) << seed;
        EXPECT_EQ(imageOf(loaded), bytes) << seed;
    }
}

}  // namespace
}  // namespace dovra
