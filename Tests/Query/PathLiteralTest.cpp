#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Base/JoinPath.hpp"
#include "Query/PathLiteral.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

/// An index of random paths over few names, scanned from one root or from several that lie in each other, in
/// which some folders were listed a second time and some entries stand in no folder's list.
class RandomPaths {
public:
    explicit RandomPaths(unsigned seed) : random(seed) {
        for (std::size_t roots = random() % 3; roots > 0; --roots)
            addTree(randomPath(3));
        addTree(random() % 4 == 0 ? randomPath(2) : "/");
        changeFolders();
        paths = test::allPaths(index);
    }

    std::string randomLiteral() {
        const std::string& path = paths[random() % paths.size()];
        if (random() % 3 == 0) return test::randomText(random, "aAb/", 1, 5);
        const std::size_t at = random() % path.size();
        std::string literal = path.substr(at, 1 + random() % 8);
        if (random() % 4 == 0) literal = path.substr(at);
        return literal;
    }

    FileIndex index;
    std::vector<std::string> paths;
    std::mt19937 random;

private:
    std::string randomName() { return test::randomText(random, "aAb", 1, 3); }
    std::string randomPath(std::size_t mostParts) {
        std::string path = joinPath("/", randomName());
        for (std::size_t parts = random() % mostParts; parts > 0; --parts)
            path = joinPath(path, randomName());
        return path;
    }

    void addTree(const std::string& root) {
        std::vector<test::IndexItem> items;
        for (int i = 0; i < 40; ++i) {
            const std::string below = randomPath(6) + (random() % 3 == 0 ? "/" : "");
            items.emplace_back(root == "/" ? below : root + below);
        }
        test::addTree(index, items, root);
    }

    void changeFolders() {
        const WriteGuard guard(index.rwlock);
        const auto folders = index.directoriesLocked().count();
        for (std::size_t changes = random() % 5; changes > 0; --changes) {
            const auto folder = static_cast<DirIndex>(random() % folders);
            DirectoryListing listing;
            for (std::size_t i = random() % 4; i > 0; --i)
                listing.add({.name = randomName()});
            index.storeListingLocked(folder, listing);
            index.appendEntryLocked({.name = randomName()}, folder);
        }
    }
};

void expectHits(const RandomPaths& paths, const std::string& literal, bool fold) {
    const ReadGuard guard(paths.index.rwlock);
    const auto count = static_cast<EntryId>(paths.paths.size());
    const PathLiteral search(paths.index, literal, fold);
    EntrySet hits(paths.paths.size());
    for (EntryId first = 0; first < count; first += 64)
        search.scan({first, std::min(first + 64, count)}, hits);
    for (EntryId id = 0; id < count; ++id) {
        const std::string& path = paths.paths[static_cast<std::size_t>(id)];
        const bool contains = fold ? asciiFolded(path).find(asciiFolded(literal)) != std::string::npos
                                   : path.find(literal) != std::string::npos;
        ASSERT_EQ(hits.contains(id), contains) << literal << " in " << path << ", fold " << fold;
    }
}

TEST(PathLiteral, FindsWhatASearchOfAllPathsFinds) {
    for (unsigned seed = 0; seed < 400; ++seed) {
        RandomPaths paths(seed);
        expectHits(paths, "/", true);
        for (int i = 0; i < 60; ++i)
            expectHits(paths, paths.randomLiteral(), i % 2 == 0);
        if (testing::Test::HasFatalFailure()) FAIL() << "seed " << seed;
    }
}

TEST(PathLiteral, CountsSlashes) {
    EXPECT_FALSE(PathLiteral::canSearch(""));
    std::string literal;
    for (int i = 0; i < 62; ++i)
        literal += "/a";
    EXPECT_TRUE(PathLiteral::canSearch(literal));
    EXPECT_FALSE(PathLiteral::canSearch(literal + "/"));
    const auto deep = test::makeIndex({literal + "/a/a/b"});
    const ReadGuard guard(deep->rwlock);
    EntrySet hits(deep->entriesLocked().size());
    PathLiteral(*deep, literal, true).scan({0, static_cast<EntryId>(deep->entriesLocked().size())}, hits);
    EXPECT_EQ(hits.count(), 4);
}

}  // namespace
}  // namespace dovra
