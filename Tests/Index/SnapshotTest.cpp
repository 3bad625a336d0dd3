#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Diagnostics/IndexCheck.hpp"
#include "Diagnostics/QueryGenerator.hpp"
#include "Index/Crawl.hpp"
#include "Index/Snapshot.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"
#include "Support/RawSnapshot.hpp"
#include "Support/Snapshots.hpp"

namespace dovra {
namespace {

using test::loadBytes;
using test::RawSnapshot;
using test::snapshotOf;
using test::soundSnapshot;
using test::stampOf;
using testing::ElementsAre;
using testing::Eq;
using testing::IsEmpty;
using testing::Optional;

TEST(Snapshot, WritesWhatTheLayoutSays) {
    FileIndex index;
    ASSERT_TRUE(loadBytes(index, soundSnapshot().bytes()));
    EXPECT_EQ(snapshotOf(index), soundSnapshot().bytes());
    ASSERT_TRUE(loadBytes(index, snapshotOf(FileIndex())));
    EXPECT_EQ(snapshotOf(index), (RawSnapshot{}).bytes());
    EXPECT_EQ(snapshotOf(index).size(), 44U + 16U);
}

TEST(Snapshot, ForgetsTheStampOfAFolderThatIsStoredAgain) {
    FileIndex index;
    ASSERT_TRUE(loadBytes(index, soundSnapshot().bytes()));
    const WriteGuard guard(index.rwlock);
    index.storeListingLocked(2, {});
    EXPECT_TRUE(index.stampLocked(1).isKnown());
    EXPECT_FALSE(index.stampLocked(2).isKnown());
    EXPECT_FALSE(index.stampLocked(3).isKnown());
}

TEST(Snapshot, FillsAnAttachedTrigramIndexAnew) {
    const auto index = test::makeIndex({"/before", "/before too"});
    const auto trigram = std::make_shared<TrigramIndex>();
    index->attachTrigramIndex(trigram);
    ASSERT_TRUE(loadBytes(*index, soundSnapshot().bytes()));
    EXPECT_THAT(indexViolations(*index), IsEmpty());
    EXPECT_THAT(trigram->candidates(TrigramIndex::trigrams("link")), Optional(ElementsAre(4)));
}

TEST(Snapshot, RefusesToWriteATreeWhosePathsAreTooLong) {
    FileIndex index;
    {
        const WriteGuard guard(index.rwlock);
        DirIndex folder = index.internDirLocked("/");
        for (int level = 0; level < 66'000; ++level)
            folder = index.internChildDirLocked(folder, "x");
    }
    bool wasWritten = false;
    const auto obstacle = encodeSnapshot(index, 7, 1, [&](std::string_view) { wasWritten = true; });
    EXPECT_THAT(obstacle, Optional(testing::HasSubstr("4 GB")));
    EXPECT_FALSE(wasWritten);
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
    for (std::size_t id = 0; id < index->entriesLocked().size(); ++id) {
        if (random() % 5 != 0) continue;
        const FileEntry& entry = index->entriesLocked()[id];
        if (const auto contents = entry.isFolder() ? index->contentsOfLocked(entry) : std::nullopt)
            index->forgetContentsLocked(*contents);
        index->tombstoneLocked(static_cast<EntryId>(id));
    }
    return index;
}

void expectEqualSearches(const FileIndex& a, const FileIndex& b, unsigned seed) {
    QueryGenerator queries(a, seed, {.mayUsePaths = true, .mayReadFiles = false});
    for (int i = 0; i < 60; ++i) {
        const GeneratedSearch generated = queries.next();
        const SearchResult left = search(a, generated.query, generated.sort, generated.limit);
        const SearchResult right = search(b, generated.query, generated.sort, generated.limit);
        EXPECT_EQ(left.total, right.total) << generated.query;
        const auto isSame = [](const FileRow& x, const FileRow& y) {
            return x.id == y.id && x.path == y.path;
        };
        EXPECT_TRUE(std::ranges::equal(left.rows, right.rows, isSame)) << generated.query;
    }
}

TEST(Snapshot, EveryAnswerSurvivesASaveAndALoad) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        const auto index = randomIndex(seed);
        const std::string bytes = snapshotOf(*index);
        FileIndex loaded;
        ASSERT_TRUE(loadBytes(loaded, bytes)) << seed;
        EXPECT_THAT(indexDifference(*index, loaded), Eq(std::nullopt)) << seed;
        EXPECT_THAT(indexViolations(loaded), IsEmpty()) << seed;
        EXPECT_EQ(snapshotOf(loaded), bytes) << seed;
        expectEqualSearches(*index, loaded, seed);
    }
}

TEST(Snapshot, ARealTreeSurvivesASaveAndALoad) {
    FileIndex index;
    crawl(index, {"/usr/include"}, {});
    FileIndex loaded;
    ASSERT_TRUE(loadBytes(loaded, snapshotOf(index), {.volumeDev = 7, .root = "/usr/include"}));
    EXPECT_THAT(indexDifference(index, loaded), Eq(std::nullopt));
    EXPECT_THAT(indexViolations(loaded), IsEmpty());
    expectEqualSearches(index, loaded, 1);
    EXPECT_TRUE(stampOf(index, 0).isKnown());
    const ReadGuard guard(index.rwlock);
    for (std::size_t i = 0; i < index.directoriesLocked().count(); ++i) {
        const auto folder = static_cast<DirIndex>(i);
        ASSERT_EQ(stampOf(loaded, folder), index.stampLocked(folder));
    }
}

}  // namespace
}  // namespace dovra
