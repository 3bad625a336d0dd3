#include <cmath>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <stop_token>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <utility>
#include <vector>

#include "Base/JoinPath.hpp"
#include "Index/Crawl.hpp"
#include "Index/LookAheadWalk.hpp"
#include "Support/DeepFile.hpp"
#include "Support/DeepTree.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/InMemory.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/Privileges.hpp"
#include "Support/RandomText.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using test::allPaths;
using test::idOf;
using test::InMemory;
using test::TemporaryTree;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

/// Several hundred folders, few and many children each, with files in them.
void makeRandomTree(const TemporaryTree& tree, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::string> folders = {"."};
    for (int i = 0; i < 500; ++i) {
        // Preferring the last folders makes deep branches, any folder wide ones.
        const std::size_t back =
            random() % (random() % 4 == 0 ? std::min<std::size_t>(8, folders.size()) : folders.size());
        folders.push_back(fmt::format("{}/d{}", folders[folders.size() - 1 - back], i));
        std::filesystem::create_directory(tree.path(folders.back()));
        for (std::size_t file = random() % 6; file > 0; --file) {
            std::ofstream(tree.path(fmt::format("{}/f{}", folders.back(), file)))
                << std::string(random() % 100, 'x');
        }
    }
}

std::vector<std::string> describe(const FileIndex& index) {
    std::vector<std::string> entries = allPaths(index);
    const ReadGuard guard(index.rwlock);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const FileEntry& entry = index.entriesLocked()[i];
        entries[i] += fmt::format(" {} {} {} {} {}", entry.flags, entry.size, entry.modTime, entry.crTime,
                                  entry.dirIndex);
    }
    return entries;
}

std::vector<std::string> crawled(const std::vector<std::string>& roots, const CrawlOptions& options = {}) {
    FileIndex index;
    crawl(index, roots, options);
    return allPaths(index);
}

FileEntry entryOf(const FileIndex& index, const std::string& path) {
    const EntryId id = idOf(index, path);
    const ReadGuard guard(index.rwlock);
    return index.entriesLocked()[static_cast<std::size_t>(id)];
}

TEST(Crawl, IsTheSameForAnyNumberOfThreads) {
    const TemporaryTree tree;
    makeRandomTree(tree, 1);
    std::vector<std::string> onDisk;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.path()))
        onDisk.push_back(entry.path().lexically_normal().string());
    FileIndex reference;
    crawl(reference, {tree.path()}, {.threads = 1});
    EXPECT_THAT(allPaths(reference), UnorderedElementsAreArray(onDisk));
    for (const std::size_t threads : {1, 2, 3, 8, 8, 8, 0}) {
        FileIndex index;
        crawl(index, {tree.path()}, {.threads = threads});
        ASSERT_EQ(describe(index), describe(reference)) << threads;
        EXPECT_EQ(index.generation(), reference.generation());
    }
}

TEST(LookAheadWalk, GoesTheLastRootAndTheLastListedChildFirst) {
    const TemporaryTree tree;
    makeRandomTree(tree, 2);
    using Step = std::pair<std::optional<DirIndex>, std::string>;
    std::vector<Step> stack = {{std::nullopt, tree.makeFolder("A")}, {std::nullopt, tree.path()}};
    DirIndex count = 0;
    WalkOptions options;
    options.threads = 4;
    lookAheadWalk({stack[0].second, stack[1].second, tree.path("missing")}, options,
                  [&](const WalkedFolder& folder) {
                      const auto [parent, path] = stack.back();
                      stack.pop_back();
                      EXPECT_EQ(folder.parent, parent) << path;
                      EXPECT_EQ(folder.name, parent ? path.substr(path.rfind('/') + 1) : path);
                      for (std::size_t i = 0; i < folder.listing.count(); ++i) {
                          const RawDirent entry = folder.listing[i];
                          if (entry.isDir) stack.emplace_back(count, joinPath(path, entry.name));
                      }
                      return count++;
                  });
    EXPECT_THAT(stack, IsEmpty());
}

TEST(LookAheadWalk, EntersChildrenThatAreLetInAndAnyRoot) {
    const TemporaryTree tree;
    tree.write("inner/file");
    const auto visits = [&](const WalkOptions& options) {
        int count = 0;
        lookAheadWalk({tree.path()}, options, [&](const WalkedFolder&) { return count++; });
        return count;
    };
    const DeviceId device = OpenFolder::open("/").value().deviceBelow(tree.path().substr(1)).value();
    EXPECT_EQ(visits({.allowedDevices = {device}}), 2);
    EXPECT_EQ(visits({.allowedDevices = {device + 1}}), 1);
    std::vector<std::string> asked;
    const auto asks = [&](std::string_view path) { return asked.emplace_back(path).empty(); };
    EXPECT_EQ(visits({.entersChild = asks}), 1);
    EXPECT_THAT(asked, ElementsAre(tree.path("inner")));
}

TEST(LookAheadWalk, DoesNotFollowALinkThatTakesAFoldersPlace) {
    const TemporaryTree tree;
    const std::string folder = tree.makeFolder("root/folder");
    tree.makeFolder("root/folder/inner");
    tree.write("elsewhere/inner/secret");
    std::vector<std::string> visited;
    lookAheadWalk({tree.path("root")}, {}, [&](const WalkedFolder& walked) {
        visited.emplace_back(walked.name);
        if (walked.name == "folder") {
            std::filesystem::rename(folder, tree.path("moved"));
            std::filesystem::create_directory_symlink("../elsewhere", folder);
        }
        return 0;
    });
    EXPECT_THAT(visited, ElementsAre(tree.path("root"), "folder"));
}

TEST(Crawl, NeverFollowsLinksBelowARoot) {
    const TemporaryTree tree;
    tree.write("outside/secret");
    const std::string root = tree.makeFolder("root");
    std::filesystem::create_directory_symlink("../outside", root + "/link");
    std::filesystem::create_directory_symlink(".", root + "/loop");
    std::filesystem::create_symlink("nowhere", root + "/dangling");
    FileIndex index;
    crawl(index, {root}, {});
    EXPECT_THAT(allPaths(index), UnorderedElementsAre(root + "/link", root + "/loop", root + "/dangling"));
    EXPECT_EQ(entryOf(index, root + "/link").flags, FileEntry::symbolicLink);
    EXPECT_EQ(entryOf(index, root + "/dangling").size, 7U);
    EXPECT_THAT(crawled({root + "/link"}), ElementsAre(root + "/link/secret"));
}

TEST(Crawl, LeavesOutWhatCannotBeRead) {
    const TemporaryTree tree;
    tree.write("locked/inner");
    tree.write("unsearchable/inner");
    ::chmod(tree.path().c_str(), 0755);
    ::chmod(tree.path("locked").c_str(), 0);
    ::chmod(tree.path("unsearchable").c_str(), 0444);
    FileIndex index;
    {
        const test::OrdinaryUser user;
        if (!user.isOrdinary()) GTEST_SKIP() << "cannot give up the rights of root";
        crawl(index, {tree.path(), tree.path("missing"), tree.path("locked")}, {.threads = 2});
    }
    ::chmod(tree.path("locked").c_str(), 0755);
    ::chmod(tree.path("unsearchable").c_str(), 0755);
    // A folder that may be listed but not searched still tells its names.
    EXPECT_THAT(allPaths(index), UnorderedElementsAre(tree.path("locked"), tree.path("unsearchable"),
                                                      tree.path("unsearchable/inner")));
}

TEST(Crawl, EntersMountsButNoFileSystemOfTheKernel) {
    const TemporaryTree tree;
    tree.write("disk/hidden");
    const test::MountedFolder disk("tmpfs", tree.path("disk"));
    const test::MountedFolder kernel("proc", tree.makeFolder("kernel"));
    if (!disk.isMounted() || !kernel.isMounted()) GTEST_SKIP() << "needs the right to mount";
    tree.write("disk/inner");
    EXPECT_THAT(crawled({tree.path()}, {.threads = 2}),
                UnorderedElementsAre(tree.path("disk"), tree.path("kernel"), tree.path("disk/inner")));
    EXPECT_THAT(crawled({tree.path("kernel/sys/kernel")}), Contains(tree.path("kernel/sys/kernel/ostype")));
}

TEST(Crawl, KeepsWholeSecondsAndSizesUnlessNamesAreEnough) {
    const TemporaryTree tree;
    const std::pair<timespec, double> cases[] = {
        {{1700000000, 999999999}, 1700000000}, {{-1, 500000000}, -1}, {{-86400, 0}, -86400}, {{0, 1}, 0}};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::string path = tree.write(fmt::format("folder/{}", i));
        ASSERT_EQ(::truncate(path.c_str(), std::int64_t{1} << (10 * i)), 0);
        const timespec times[] = {cases[i].first, cases[i].first};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }
    const auto started = static_cast<double>(::time(nullptr));
    for (const ListingDetail detail : {ListingDetail::attributes, ListingDetail::namesAndTypes}) {
        FileIndex index;
        crawl(index, {tree.path()}, {.detail = detail});
        const bool areKept = detail == ListingDetail::attributes;
        for (std::size_t i = 0; i < std::size(cases); ++i) {
            const FileEntry entry = entryOf(index, tree.path(fmt::format("folder/{}", i)));
            EXPECT_EQ(entry.modTime, areKept ? cases[i].second : 0) << i;
            EXPECT_EQ(entry.size, areKept ? std::uint64_t{1} << (10 * i) : 0) << i;
            EXPECT_EQ(entry.flags, 0);
        }
        const FileEntry folder = entryOf(index, tree.path("folder"));
        EXPECT_EQ(folder.flags, FileEntry::folder);
        EXPECT_EQ(folder.size, 0U);
        EXPECT_NEAR(folder.crTime, areKept ? started : 0, 100);
        EXPECT_EQ(folder.crTime, std::floor(folder.crTime));
    }
}

TEST(Crawl, WalksAHundredThousandLevels) {
    const InMemory inMemory;
    const TemporaryTree tree;
    const test::DeepTree deep(tree.path(), "d", 100000);
    FileIndex index;
    crawl(index, {tree.path()}, {.threads = 2});
    EXPECT_EQ(index.itemCount(), 100000);
    EXPECT_EQ(index.fullPath(99999)->size(), tree.path().size() + 200000);
    EXPECT_LT(index.memoryBytes(), 30'000'000U);
    const test::DeepFile file(tree.makeFolder("root"), "deep");
    EXPECT_THAT(crawled({file.path.substr(0, file.path.rfind('/'))}), ElementsAre(file.path))
        << "a long root";
}

TEST(Crawl, KeepsFewFoldersOpenWhereManyHaveLongPaths) {
    const InMemory inMemory;
    const TemporaryTree tree;
    const std::string parent = std::string(200, 'a') + "/" + std::string(200, 'b');
    constexpr int count = 2000;
    // Each is opened for the sake of what lies below, because its path is too long to be extended.
    for (int i = 0; i < count; ++i)
        tree.makeFolder(fmt::format("{}/{:0>200}/below/it", parent, i));
    const test::FewDescriptors few(128);
    for (int attempt = 0; attempt < 5; ++attempt) {
        FileIndex index;
        crawl(index, {tree.path()}, {.threads = 4});
        ASSERT_EQ(index.itemCount(), 2 + 3 * count);
    }
}

TEST(Crawl, ListsAFolderOfManyEntriesAndReports) {
    const InMemory inMemory;
    const TemporaryTree tree;
    constexpr int count = 200000;
    const std::string many = tree.makeFolder("many");
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(::mknod(fmt::format("{}/{}", many, i).c_str(), S_IFREG | 0600, 0), 0);
    FileIndex index;
    std::vector<std::pair<std::int64_t, bool>> reports;
    crawl(index, {tree.path()}, {.threads = 2},
          [&](std::int64_t entries, bool goesOn) { reports.emplace_back(entries, goesOn); });
    EXPECT_EQ(index.itemCount(), count + 1);
    EXPECT_THAT(reports, ElementsAre(std::pair(count + 1, true), std::pair(count + 1, false)));
}

TEST(Walk, EndsWhenItIsAskedToStop) {
    const TemporaryTree tree;
    for (int i = 0; i < 100; ++i)
        tree.makeFolder(fmt::format("{}/{}", i % 10, i));
    for (const std::size_t threads : {1U, 2U, 4U}) {
        for (const int visitsBefore : {1, 2, 50, 110}) {
            std::stop_source source;
            WalkOptions options;
            options.threads = threads;
            options.stop = source.get_token();
            int visits = 0;
            lookAheadWalk({tree.path()}, options, [&](const WalkedFolder&) {
                if (++visits == visitsBefore) source.request_stop();
                return DirIndex{};
            });
            EXPECT_EQ(visits, visitsBefore);
        }
    }
}

TEST(Crawl, SurvivesFoldersThatComeAndGo) {
    const TemporaryTree tree;
    const std::jthread changes([&](const std::stop_token& stop) {
        // Each holds entries that are named after it.
        for (std::mt19937 random(3); !stop.stop_requested();) {
            const std::string name = fmt::format("d{}", random() % 8);
            std::error_code ignored;
            if (random() % 3 == 0) std::filesystem::remove_all(tree.path(name), ignored);
            tree.write(fmt::format("{0}/{0}-{1}/{0}-{1}-file", name, random() % 3));
        }
    });
    for (int i = 0; i < 200; ++i) {
        for (const std::string& path : crawled({tree.path()}, {.threads = 4})) {
            const std::filesystem::path entry(path);
            if (entry.parent_path() == tree.path()) continue;
            ASSERT_TRUE(entry.filename().string().starts_with(entry.parent_path().filename().string() + "-"))
                << path;
        }
    }
}

}  // namespace
}  // namespace dovra
