#include <fmt/format.h>
#include <gtest/gtest.h>
#include <map>
#include <random>

#include "Analysis/DiskUsage.hpp"
#include "Analysis/FolderUsage.hpp"
#include "Base/PathText.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {

std::ostream& operator<<(std::ostream& out, const DirUsage& usage) {
    return out << usage.path << " " << usage.totalBytes << " " << usage.fileCount;
}

namespace {

using Rows = std::vector<DirUsage>;
using test::IndexItem;

/// The report by its definition: every file counts for all folders above it, as far as the folders between
/// them are known.
Rows slowUsage(const FileIndex& index, const std::string& under, std::int64_t limit) {
    const ReadGuard guard(index.rwlock);
    Rows rows;
    std::map<std::string, std::size_t> positions;
    for (std::size_t i = 0; i < index.directoriesLocked().count(); ++i) {
        rows.push_back({index.directoriesLocked().path(static_cast<DirIndex>(i)), 0, 0});
        positions[rows.back().path] = i;
    }
    for (const FileEntry& entry : index.entriesLocked()) {
        if (entry.isFolder() || entry.isTombstone()) continue;
        std::string folder = index.directoriesLocked().path(entry.dirIndex);
        for (auto at = positions.find(folder); at != positions.end(); at = positions.find(folder)) {
            rows[at->second].totalBytes += entry.size;
            ++rows[at->second].fileCount;
            if (folder == "/") break;
            folder = parentPath(folder);
        }
    }
    const std::string below = under.ends_with('/') ? under : under + "/";
    std::erase_if(rows, [&](const DirUsage& row) {
        return under != "/" && row.path != under && !row.path.starts_with(below);
    });
    std::ranges::stable_sort(rows, std::greater{}, &DirUsage::totalBytes);
    if (limit > 0 && limit < std::ssize(rows)) rows.resize(static_cast<std::size_t>(limit));
    return rows;
}

/// Few different names, so that many paths are similar and many sums equal.
std::vector<IndexItem> randomItems(std::mt19937& random, const std::string& root, std::size_t count) {
    std::vector<IndexItem> items;
    for (std::size_t i = 0; i < count; ++i) {
        std::string path = root == "/" ? "" : root;
        for (std::size_t depth = 1 + random() % 5; depth > 0; --depth)
            path.append(1, '/').append(1, "ab"[random() % 2]).append(random() % 3 == 0 ? "b" : "");
        items.emplace_back(fmt::format("{}/file{}", path, i), random() % 4);
    }
    return items;
}

TEST(DiskUsage, IsWhatTheDefinitionSays) {
    std::mt19937 random(5);
    for (int round = 0; round < 12; ++round) {
        // Several roots, in any order, so that folders lie in one another by path alone.
        std::vector<std::string> roots = {"/", "/a", "/b", "/a/a", "/a/b", "/a/b/a"};
        std::ranges::shuffle(roots, random);
        roots.resize(1 + random() % 3);
        FileIndex index;
        for (const std::string& root : roots)
            test::addTree(index, randomItems(random, root, 300), root);
        for (EntryId id = 0; id < 50; ++id) {
            const WriteGuard guard(index.rwlock);
            index.tombstoneLocked(id);
        }
        for (const char* under : {"", "/", "/a", "/a/", "/a/b", "/ab", "/a/b/a/", "/none", "/a//", "a"}) {
            for (const std::int64_t limit : {-1, 0, 1, 3, 1000}) {
                EXPECT_EQ(directoryUsage(index, under, limit), slowUsage(index, under, limit))
                    << testing::PrintToString(roots) << " under " << under << " limit " << limit;
            }
        }
        EXPECT_EQ(directoryUsage(index, std::nullopt, 0), slowUsage(index, "/", 0));
    }
}

TEST(DiskUsage, SumsInPiecesAsInOne) {
    std::vector<IndexItem> items;
    for (int i = 0; i < 200'000; ++i)
        items.emplace_back(fmt::format("/{}/{}", i % 7, i), i);
    const auto index = test::makeIndex(items);
    EXPECT_EQ(directoryUsage(*index, std::nullopt, 0), slowUsage(*index, "/", 0));
}

void flatten(const UsageTree& tree, Rows& rows) {
    rows.push_back(tree.usage);
    for (const UsageTree& folder : tree.folders)
        flatten(folder, rows);
}

TEST(FolderUsage, IsThatOfTheFoldersAsTheyAreNow) {
    std::mt19937 random(6);
    const auto index = test::makeIndex(randomItems(random, "/", 500));
    const FolderUsage usage(*index);
    for (int round = 0; round < 4; ++round) {
        Rows rows;
        flatten(*usage.tree("/", 100), rows);
        std::ranges::sort(rows, {}, &DirUsage::path);
        Rows expected = slowUsage(*index, "/", 0);
        std::ranges::sort(expected, {}, &DirUsage::path);
        EXPECT_EQ(rows, expected);
        const std::vector<std::string> paths = {rows.back().path, "/none", "/"};
        const auto sums = usage.sumsOf(paths);
        EXPECT_EQ(sums[0]->bytes, rows.back().totalBytes);
        EXPECT_FALSE(sums[1]);
        EXPECT_EQ(sums[2]->files, rows.front().fileCount);
        const WriteGuard guard(index->rwlock);
        for (const EntryId id : {10 * round + 100, 10 * round + 101}) {
            if (!index->entriesLocked()[static_cast<std::size_t>(id)].isFolder()) index->tombstoneLocked(id);
        }
        index->raiseGenerationLocked();
    }
    EXPECT_FALSE(usage.tree("/none", 1));
    const UsageTree top = *usage.tree("/", 1);
    EXPECT_TRUE(std::ranges::is_sorted(top.folders, std::greater{},
                                       [](const UsageTree& folder) { return folder.usage.totalBytes; }));
    EXPECT_TRUE(top.folders.front().folders.empty());
    {
        const WriteGuard guard(index->rwlock);
        index->forgetContentsLocked(*index->directoriesLocked().find(top.folders.front().usage.path));
    }
    EXPECT_EQ(usage.tree("/", 1)->folders.size(), top.folders.size() - 1) << "as if it could not be listed";
}

TEST(DiskUsageDeathTest, OverflowEndsTheProcess) {
    constexpr std::uint64_t half = std::uint64_t{1} << 63;
    const auto side = test::makeIndex({{"/a/x", half}, {"/a/y", half}});
    EXPECT_DEATH(directoryUsage(*side, std::nullopt, 0), "bytes in one folder");
    const auto below = test::makeIndex({{"/a/x", half}, {"/b/y", half}});
    EXPECT_DEATH(directoryUsage(*below, std::nullopt, 0), "bytes in one folder");
}

}  // namespace
}  // namespace dovra
