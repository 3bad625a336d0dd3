#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Query/PathOrder.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

/// Names that differ in case only, and bytes on both sides of "/" in the order of bytes.
void fillWithRandomPaths(FileIndex& index, std::mt19937& random, const std::string& root) {
    std::vector<test::IndexItem> items;
    for (int i = 0; i < 60; ++i) {
        std::string path = root == "/" ? "" : root;
        for (std::size_t depth = 1 + random() % 5; depth > 0; --depth)
            (path += '/') += test::randomText(random, "aAb -.0\xFF", 1, 2);
        items.emplace_back(path + (random() % 3 == 0 ? "/" : ""));
    }
    test::addTree(index, items, root);
}

std::vector<EntryId> orderedByWholePaths(const FileIndex& index, std::vector<EntryId> ids, bool ascending) {
    std::vector<std::string> paths = test::allPaths(index);
    std::ranges::transform(paths, paths.begin(), [](const std::string& path) { return asciiFolded(path); });
    std::ranges::stable_sort(ids, [&](EntryId a, EntryId b) {
        const int order = paths[static_cast<std::size_t>(a)].compare(paths[static_cast<std::size_t>(b)]);
        return ascending ? order < 0 : order > 0;
    });
    return ids;
}

void expectOrder(const FileIndex& index, const std::vector<EntryId>& ids) {
    const auto count = std::ssize(ids);
    for (const bool ascending : {true, false}) {
        const std::vector<EntryId> expected = orderedByWholePaths(index, ids, ascending);
        for (const std::int64_t limit : {std::int64_t{0}, std::int64_t{1}, count / 2, count, count + 5}) {
            const ReadGuard guard(index.rwlock);
            const auto wanted = expected.begin() + std::min(limit, count);
            ASSERT_EQ(pathOrderLocked(index, ids, ascending, limit), std::vector(expected.begin(), wanted));
        }
    }
}

TEST(PathOrder, IsTheOrderOfTheFoldedPaths) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        FileIndex index;
        const bool hasSeveralRoots = seed % 4 == 0;
        if (hasSeveralRoots) fillWithRandomPaths(index, random, "/a/b");
        fillWithRandomPaths(index, random, seed % 2 == 0 ? "/" : "/a/B");
        std::vector<EntryId> all, some;
        for (EntryId id = 0; id < index.itemCount(); ++id) {
            all.push_back(id);
            if (random() % 4 == 0) some.push_back(id);
        }
        expectOrder(index, all);
        expectOrder(index, some);
        expectOrder(index, {});
        if (testing::Test::HasFatalFailure()) FAIL() << "seed " << seed;
    }
}

}  // namespace
}  // namespace dovra
