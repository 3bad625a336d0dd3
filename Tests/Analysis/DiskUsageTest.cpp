#include <fmt/format.h>
#include <gtest/gtest.h>
#include <map>
#include <random>

#include "Analysis/DiskUsage.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {

std::ostream& operator<<(std::ostream& out, const DirUsage& usage) {
    return out << usage.path << " " << usage.totalBytes << " " << usage.fileCount;
}

namespace {

using Rows = std::vector<DirUsage>;
using test::IndexItem;

std::string parentPath(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// The report as its definition has it: folders by depth, each passed on to its parent by path.
Rows slowUsage(const FileIndex& index, std::optional<std::string> under, std::int64_t limit) {
    const ReadGuard guard(index.rwlock);
    Rows rows;
    std::map<std::string, std::size_t> positions;
    for (std::size_t i = 0; i < index.directoriesLocked().count(); ++i) {
        rows.push_back({index.directoriesLocked().path(static_cast<DirIndex>(i)), 0, 0});
        positions[rows.back().path] = i;
    }
    for (const FileEntry& entry : index.entriesLocked()) {
        if (entry.isFolder() || entry.isTombstone()) continue;
        rows[static_cast<std::size_t>(entry.dirIndex)].totalBytes += entry.size;
        ++rows[static_cast<std::size_t>(entry.dirIndex)].fileCount;
    }
    const auto depth = [](const DirUsage& row) { return std::ranges::count(row.path, '/'); };
    std::vector<DirUsage*> deepestFirst;
    for (DirUsage& row : rows)
        deepestFirst.push_back(&row);
    std::ranges::stable_sort(deepestFirst, std::greater{}, [&](const DirUsage* row) { return depth(*row); });
    for (const DirUsage* row : deepestFirst) {
        const auto parent = positions.find(parentPath(row->path));
        if (row->path == "/" || parent == positions.end()) continue;
        rows[parent->second].totalBytes += row->totalBytes;
        rows[parent->second].fileCount += row->fileCount;
    }
    if (under && *under != "/") {
        const std::string below = under->ends_with('/') ? *under : *under + "/";
        std::erase_if(
            rows, [&](const DirUsage& row) { return row.path != *under && !row.path.starts_with(below); });
    }
    std::ranges::stable_sort(rows, std::greater{}, &DirUsage::totalBytes);
    if (limit > 0 && limit < std::ssize(rows)) rows.resize(static_cast<std::size_t>(limit));
    return rows;
}

TEST(DiskUsage, AddsUpWhatLiesBelow) {
    const auto index = test::makeIndex({{"/a/x", 5}, {"/a/b/y", 7}, {"/a/b/c/z", 1}, "/a/empty/", {"/w", 2}});
    EXPECT_EQ(directoryUsage(*index, std::nullopt, 0),
              (Rows{{"/", 15, 4}, {"/a", 13, 3}, {"/a/b", 8, 2}, {"/a/b/c", 1, 1}, {"/a/empty", 0, 0}}));
    EXPECT_EQ(directoryUsage(*index, "/a/b", 0), (Rows{{"/a/b", 8, 2}, {"/a/b/c", 1, 1}}));
    EXPECT_EQ(directoryUsage(*index, "/a/b/", 0), (Rows{{"/a/b/c", 1, 1}}));
    EXPECT_EQ(directoryUsage(*index, std::nullopt, 1), (Rows{{"/", 15, 4}}));
    EXPECT_EQ(directoryUsage(FileIndex(), std::nullopt, 0), Rows{});
}

TEST(DiskUsage, DeletedFilesCountNowhere) {
    const auto index = test::makeIndex({{"/a/x", 5}, {"/a/b/y", 7}});
    const EntryId deleted = test::idOf(*index, "/a/b/y");
    {
        const WriteGuard guard(index->rwlock);
        index->tombstoneLocked(deleted);
    }
    EXPECT_EQ(directoryUsage(*index, "/a", 0), (Rows{{"/a", 5, 1}, {"/a/b", 0, 0}}));
}

/// Few names, so that paths are alike and sums are equal.
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
    // Several roots, inner before outer and side by side, so that folders lie in one another by path alone.
    const std::vector<std::vector<std::string>> rootLists = {
        {"/"},
        {"/a"},
        {"/a/b", "/a"},
        {"/a/b/ab", "/a", "/"},
        {"/b", "/a/a", "/a/b"},
        {"/a/b/a", "/a/b", "/b"},
    };
    std::mt19937 random(5);
    for (const auto& roots : rootLists) {
        FileIndex index;
        for (const std::string& root : roots)
            test::addTree(index, randomItems(random, root, 300), root);
        for (const char* under : {"", "/", "/a", "/a/", "/a/b", "/ab", "/b", "/a/b/a/", "/none", "/a//", "//",
                                  "a", "/a/b/a/bb"}) {
            for (const std::int64_t limit : {-1, 0, 1, 3, 1000}) {
                EXPECT_EQ(directoryUsage(index, under, limit), slowUsage(index, under, limit))
                    << roots.front() << " under " << under << " limit " << limit;
            }
        }
        EXPECT_EQ(directoryUsage(index, std::nullopt, 0), slowUsage(index, "/", 0));
    }
}

TEST(DiskUsage, SumsInPiecesAsInOne) {
    std::vector<IndexItem> items;
    items.reserve(200'000);
    for (int i = 0; i < 200'000; ++i)
        items.emplace_back(fmt::format("/{}/{}", i % 7, i), i);
    const auto index = test::makeIndex(items);
    EXPECT_EQ(directoryUsage(*index, std::nullopt, 0), slowUsage(*index, std::nullopt, 0));
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
