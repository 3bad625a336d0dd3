#include <cmath>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <stop_token>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <utility>
#include <vector>

#include "Base/PathText.hpp"
#include "Diagnostics/IndexCheck.hpp"
#include "Index/Crawl.hpp"
#include "Index/LookAheadWalk.hpp"
#include "Support/DeepFile.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/ScriptedTest.hpp"
#include "Support/TreeStorm.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

namespace fs = std::filesystem;

class Crawl : public test::ScriptedTest {
protected:
    Crawl() {
        words_.insert({
            {"scan",  // one root or several
             [this](Rest roots) { scan({.threads = 2}, placesOf(roots)); }},
            {"holds",
             [this](Rest paths) {
                 EXPECT_THAT(test::allPaths(index_), UnorderedElementsAreArray(placesOf(paths)));
             }},
            {"has", [this](Rest path) { EXPECT_GE(test::idOf(index_, placeOf(path)), 0); }},
        });
    }

    void scan(const CrawlOptions& options, const std::vector<std::string>& roots) {
        index_.reset();
        crawl(index_, roots, options);
    }

    FileEntry entryOf(Rest path) const {
        const EntryId id = test::idOf(index_, placeOf(path));
        const ReadGuard guard(index_.rwlock);
        return index_.entriesLocked()[static_cast<std::size_t>(id)];
    }

    /// Makes many folders, with few and many children each, and files in them.
    void makeRandomTree() const {
        test::TreeStorm storm(root_, 1, {"folder", "write"});
        for (int i = 0; i < 1000; ++i)
            storm.step();
    }

    FileIndex index_;
};

TEST_F(Crawl, IsTheSameForAnyNumberOfThreads) {
    makeRandomTree();
    std::vector<std::string> onDisk;
    for (const auto& entry : fs::recursive_directory_iterator(root_))
        onDisk.push_back(entry.path().string());
    FileIndex reference;
    crawl(reference, {root_}, {.threads = 1});
    EXPECT_THAT(test::allPaths(reference), UnorderedElementsAreArray(onDisk));
    for (const std::size_t threads : {1, 2, 3, 8, 8, 8, 0}) {
        scan({.threads = threads}, {root_});
        ASSERT_FALSE(indexDifference(index_, reference)) << threads;
    }
}

TEST_F(Crawl, GoesTheLastRootAndTheLastListedChildFirst) {
    makeRandomTree();
    using Step = std::pair<std::optional<DirIndex>, std::string>;
    std::vector<Step> stack = {{std::nullopt, tree_.makeFolder("A")}, {std::nullopt, root_}};
    DirIndex count = 0;
    const auto visit = [&](const WalkedFolder& folder) {
        const auto [parent, path] = stack.back();
        stack.pop_back();
        EXPECT_EQ(folder.parent, parent) << path;
        EXPECT_EQ(folder.name, parent ? lastName(path) : path);
        for (std::size_t i = 0; i < folder.listing.count(); ++i) {
            const RawDirent entry = folder.listing[i];
            if (entry.isDir) stack.emplace_back(count, joinPath(path, entry.name));
        }
        return count++;
    };
    lookAheadWalk({stack[0].second, stack[1].second, placeOf("missing")}, {.threads = 4}, visit);
    EXPECT_THAT(stack, IsEmpty());
}

TEST_F(Crawl, EntersChildrenThatAreLetInAndAnyRoot) {
    run("write inner/file");
    const auto visits = [&](const WalkOptions& options) {
        int count = 0;
        lookAheadWalk({root_}, options, [&](const WalkedFolder&) { return count++; });
        return count;
    };
    const DeviceId device = folderStamp(root_).device;
    EXPECT_EQ(visits({.allowedDevices = {device}}), 2);
    EXPECT_EQ(visits({.allowedDevices = {device + 1}}), 1);
    std::vector<std::string> asked;
    const auto asks = [&](std::string_view path) { return asked.emplace_back(path).empty(); };
    EXPECT_EQ(visits({.entersChild = asks}), 1);
    EXPECT_THAT(asked, ElementsAre(placeOf("inner")));
}

TEST_F(Crawl, NeverFollowsLinksBelowARoot) {
    run("folder root/folder/inner; write elsewhere/inner/secret");
    fs::create_directory_symlink("../elsewhere", placeOf("root/link"));
    fs::create_directory_symlink(".", placeOf("root/loop"));
    run("symlink root/dangling; scan root; "
        "holds root/folder root/folder/inner root/link root/loop root/dangling");
    EXPECT_EQ(entryOf("root/link").flags, FileEntry::symbolicLink);
    EXPECT_EQ(entryOf("root/link").size, 12U);
    run("scan root/link; holds root/link/inner root/link/inner/secret");
    // A link takes the place of a listed folder.
    std::vector<std::string> visited;
    lookAheadWalk({placeOf("root")}, {}, [&](const WalkedFolder& walked) {
        visited.emplace_back(walked.name);
        if (walked.name == "folder") {
            fs::rename(placeOf("root/folder"), placeOf("moved"));
            fs::create_directory_symlink("../elsewhere", placeOf("root/folder"));
        }
        return 0;
    });
    EXPECT_THAT(visited, ElementsAre(placeOf("root"), "folder"));
}

TEST_F(Crawl, LeavesOutWhatCannotBeRead) {
    run("write locked/inner; write unsearchable/inner; forbid locked");
    ASSERT_EQ(::chmod(placeOf("unsearchable").c_str(), 0444), 0);
    // A folder that may be listed but not searched still gives its names.
    run("be-ordinary; scan . missing locked; be-oneself; allow locked; allow unsearchable; "
        "holds locked unsearchable unsearchable/inner");
}

TEST_F(Crawl, EntersMountsButNoFileSystemOfTheKernel) {
    if (!test::leaveMounts()) GTEST_SKIP() << "this user may not mount";
    run("write disk/hidden; tmpfs disk; write disk/inner; folder kernel; proc kernel; scan .; "
        "holds disk kernel disk/inner; scan kernel/sys/kernel; has kernel/sys/kernel/ostype; "
        "umount kernel; umount disk");
}

TEST_F(Crawl, KeepsWholeSecondsAndSizesUnlessNamesAreEnough) {
    const std::pair<timespec, double> cases[] = {
        {{1700000000, 999999999}, 1700000000}, {{-1, 500000000}, -1}, {{-86400, 0}, -86400}, {{0, 1}, 0}};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::string path = tree_.write(fmt::format("folder/{}", i));
        ASSERT_EQ(::truncate(path.c_str(), std::int64_t{1} << (12 * i)), 0);
        const timespec times[] = {cases[i].first, cases[i].first};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }
    for (const bool areKept : {true, false}) {
        scan({.detail = areKept ? ListingDetail::attributes : ListingDetail::namesAndTypes}, {root_});
        for (std::size_t i = 0; i < std::size(cases); ++i) {
            const FileEntry entry = entryOf(fmt::format("folder/{}", i));
            EXPECT_EQ(entry.modTime, areKept ? cases[i].second : 0) << i;
            EXPECT_EQ(entry.size, areKept ? std::uint64_t{1} << (12 * i) : 0) << i;
        }
        const FileEntry folder = entryOf("folder");
        EXPECT_EQ(folder.size, 0U);
        EXPECT_NEAR(folder.crTime, areKept ? static_cast<double>(::time(nullptr)) : 0, 100);
        EXPECT_EQ(folder.crTime, std::floor(folder.crTime));
    }
}

TEST_F(Crawl, WalksAHundredThousandLevels) {
    {
        const test::DeepTree deep(root_, "d", 100000);
        run("scan .");
        EXPECT_EQ(index_.itemCount(), 100000);
        EXPECT_EQ(index_.fullPath(99999)->size(), root_.size() + 200000);
        EXPECT_LT(index_.memoryBytes(), 30'000'000U);
    }
    const test::DeepFile file(root_, "deep");
    scan({}, {std::string(parentPath(file.path))});
    EXPECT_THAT(test::allPaths(index_), ElementsAre(file.path)) << "a long root";
}

TEST_F(Crawl, KeepsFewFoldersOpenWhereManyHaveLongPaths) {
    constexpr int count = 2000;
    // Each folder is opened on behalf of those below it, because its path is too long to be extended.
    for (int i = 0; i < count; ++i)
        tree_.makeFolder(fmt::format("{:a>200}/{:b>200}/{:0>200}/below/it", "", "", i));
    const test::FewDescriptors few(128);
    for (int attempt = 0; attempt < 5; ++attempt) {
        scan({.threads = 4}, {root_});
        ASSERT_EQ(index_.itemCount(), 2 + 3 * count);
    }
}

TEST_F(Crawl, ListsAFolderOfManyEntriesAndReports) {
    constexpr int count = 200000;
    const std::string many = tree_.makeFolder("many");
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(::mknod(fmt::format("{}/{}", many, i).c_str(), S_IFREG | 0600, 0), 0);
    std::vector<std::pair<std::int64_t, bool>> reports;
    crawl(index_, {root_}, {.threads = 2},
          [&](std::int64_t entries, bool goesOn) { reports.emplace_back(entries, goesOn); });
    EXPECT_EQ(index_.itemCount(), count + 1);
    EXPECT_THAT(reports, ElementsAre(std::pair(count + 1, true), std::pair(count + 1, false)));
}

TEST_F(Crawl, EndsWhenItIsAskedToStop) {
    for (int i = 0; i < 100; ++i)
        tree_.makeFolder(fmt::format("{}/{}", i % 10, i));
    for (const std::size_t threads : {1U, 2U, 4U}) {
        for (const int visitsBefore : {1, 2, 50, 110}) {
            std::stop_source stop;
            int visits = 0;
            lookAheadWalk({root_}, {.threads = threads, .stop = stop.get_token()}, [&](const WalkedFolder&) {
                if (++visits == visitsBefore) stop.request_stop();
                return DirIndex{};
            });
            EXPECT_EQ(visits, visitsBefore);
        }
    }
}

TEST_F(Crawl, SurvivesFoldersThatComeAndGo) {
    const std::jthread changes([&](const std::stop_token& stop) {
        // Each folder holds entries that are named after it.
        for (std::mt19937 random(3); !stop.stop_requested();) {
            const std::string name = fmt::format("d{}", random() % 8);
            if (random() % 3 == 0) test::perform(root_, "remove " + name);
            test::perform(root_, fmt::format("write {0}/{0}-{1}/{0}-{1}-file", name, random() % 3));
        }
    });
    for (int i = 0; i < 200; ++i) {
        scan({.threads = 4}, {root_});
        for (const fs::path entry : test::allPaths(index_)) {
            const std::string folder = entry.parent_path() == root_ ? "d" : entry.parent_path().filename();
            ASSERT_TRUE(entry.filename().string().starts_with(folder)) << entry;
        }
    }
}

}  // namespace
}  // namespace dovra
