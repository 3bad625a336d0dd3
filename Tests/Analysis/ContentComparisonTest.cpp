#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <random>
#include <stop_token>
#include <sys/stat.h>

#include "Analysis/ContentComparison.hpp"
#include "Index/Crawl.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/Privileges.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;
/// Sorted, and each set sorted.
using Sets = std::vector<Paths>;

constexpr std::size_t sliceBytes = DuplicateFinder::sliceBytes;

DuplicateCandidates candidatesOf(const FileIndex& index) {
    std::vector<EntryId> ids(static_cast<std::size_t>(index.itemCount()));
    std::iota(ids.begin(), ids.end(), 0);
    const auto items = [&] {
        const ReadGuard guard(index.rwlock);
        return duplicateItemsLocked(index, ids);
    }();
    return {index, items};
}

/// Counts what the process reads, from any file.
std::uint64_t bytesRead() {
    std::ifstream counters("/proc/self/io");
    std::string name;
    std::uint64_t value = 0;
    counters >> name >> value;
    EXPECT_EQ(name, "rchar:");
    return value;
}

/// A tree that is scanned, changed, and then searched for equal files.
class ContentComparison : public testing::Test {
protected:
    void scan() {
        index_.reset();
        crawl(index_, {tree_.path()}, {});
    }

    /// The sets, as paths relative to the tree.
    Sets equalFiles() {
        const DuplicateCandidates candidates = candidatesOf(index_);
        Sets sets;
        for (const auto& [size, ids] : contentDuplicateGroups(candidates, progress_, stop_.get_token())) {
            Paths& set = sets.emplace_back();
            for (const EntryId id : ids)
                set.push_back(fs::relative(candidates.path(id).value(), tree_.path()));
            std::ranges::sort(set);
        }
        std::ranges::sort(sets);
        return sets;
    }

    /// Scans and expects that no more than `bytes` are read, beside what libraries read when they start
    /// threads.
    Sets equalFilesByReading(std::uint64_t bytes) {
        scan();
        const std::uint64_t before = bytesRead();
        Sets sets = equalFiles();
        const std::uint64_t read = bytesRead() - before;
        EXPECT_GE(read, bytes);
        EXPECT_LE(read, bytes + 32 * 1024);
        return sets;
    }

    const test::TemporaryTree tree_;
    FileIndex index_;
    HashProgress progress_;
    std::stop_source stop_;
};

TEST_F(ContentComparison, FindsWhatComparingEveryByteFinds) {
    std::mt19937 random(11);
    std::map<std::string, Paths> byContent;
    for (int number = 0; number < 900; ++number) {
        constexpr std::size_t sizes[] = {1, 2, 100, 4095, 4096, 4097, 8192, 8193, 20'000, 300'000};
        std::string content(sizes[random() % std::size(sizes)], static_cast<char>('a' + random() % 2));
        if (random() % 2 == 0) content[random() % content.size()] = 'z';
        if (random() % 9 == 0 && !byContent.empty()) content = byContent.begin()->first;
        const std::string name = fmt::format("{}/{}", random() % 5, number);
        tree_.write(name, content);
        byContent[content].push_back(name);
    }
    Sets expected;
    for (auto& [content, names] : byContent) {
        std::ranges::sort(names);
        if (names.size() > 1) expected.push_back(names);
    }
    std::ranges::sort(expected);
    scan();
    const test::FewDescriptors fewerThanFilesOfOneSize(64);
    EXPECT_EQ(equalFiles(), expected);
    EXPECT_EQ(progress_.filesDone, progress_.filesToHash);
    EXPECT_EQ(progress_.bytesDone, progress_.bytesToHash);
}

TEST_F(ContentComparison, StopsReadingAtTheFirstDifferenceAndWhenTold) {
    const std::string base(6 * sliceBytes, 'x');
    tree_.write("base", base);
    using Case = std::pair<std::size_t, std::uint64_t>;
    for (const auto& [position, bytes] :
         {Case{0, 2 * 4096}, Case{base.size() - 1, 4 * 4096}, Case{4096, 4 * 4096 + 2 * sliceBytes},
          Case{4096 + 2 * sliceBytes, 4 * 4096 + 6 * sliceBytes}}) {
        std::string other = base;
        other[position] = 'y';
        tree_.write("other", other);
        EXPECT_EQ(equalFilesByReading(bytes), Sets{}) << position;
    }
    for (const char* name : {"other", "empty", "empty too"})
        tree_.write(name);
    EXPECT_EQ(equalFilesByReading(0), Sets{}) << "nothing is read of a lone size or an empty file";
    tree_.write("other", base);
    stop_.request_stop();
    EXPECT_EQ(equalFilesByReading(0), Sets{}) << "nothing is read after a stop";
}

TEST_F(ContentComparison, TheFirstOfAFilesNamesStandsForItAndIsReadOnce) {
    const auto writeWithLinks = [&](const std::string& name, const std::string& bytes, int links) {
        const std::string file = tree_.write(name, bytes);
        for (int number = 0; number < links; ++number)
            fs::create_hard_link(file, fmt::format("{}.{}", file, number));
    };
    std::string bytes(sliceBytes, 'x');
    writeWithLinks("a", bytes, 49);
    EXPECT_EQ(equalFilesByReading(0), Sets{}) << "names of one file are one copy, unread";
    EXPECT_EQ(progress_.furtherNames, 49);

    writeWithLinks("b", bytes, 1);
    bytes[sliceBytes / 2] = 'y';
    writeWithLinks("other", bytes, 1);
    const Sets sets = equalFilesByReading(3 * sliceBytes);
    const auto firstOf = [&](const std::string& name) {
        const std::vector<std::string> paths = test::allPaths(index_);
        const auto isName = [&](const std::string& path) { return path.starts_with(tree_.path(name)); };
        return fs::relative(*std::ranges::find_if(paths, isName), tree_.path()).string();
    };
    EXPECT_EQ(sets, (Sets{Paths{firstOf("a"), firstOf("b")}}));
    EXPECT_EQ(progress_.furtherNames, 49 + 51);
}

/// Changes of a file between the scan and the reading.
const std::pair<const char*, std::function<void(const std::string& path)>> changes[] = {
    {"removed", [](const auto& path) { fs::remove(path); }},
    {"shrunk", [](const auto& path) { fs::resize_file(path, 9'999); }},
    {"grown", [](const auto& path) { fs::resize_file(path, 10'001); }},
    {"pipe", [](const auto& path) { fs::remove(path), ::mkfifo(path.c_str(), 0600); }},
    {"link", [](const auto& path) { fs::remove(path), fs::create_symlink("kept1", path); }},
    {"folder", [](const auto& path) { fs::remove(path), fs::create_directory(path); }},
    {"unreadable", [](const auto& path) { fs::permissions(path, fs::perms::none); }},
};

TEST_F(ContentComparison, WhatChangedSinceTheScanIsLeftOut) {
    for (const auto& [name, apply] : changes) {
        fs::remove_all(tree_.path());
        for (const char* file : {"kept1", "kept2", "changed"})
            tree_.write(file, std::string(10'000, 'x'));
        fs::permissions(tree_.path(), fs::perms::all);
        scan();
        apply(tree_.path("changed"));
        const test::OrdinaryUser user;
        ASSERT_TRUE(user.isOrdinary());
        EXPECT_EQ(equalFiles(), (Sets{{"kept1", "kept2"}})) << name;
    }
    // Files that shrank to the same size are equal again.
    for (const char* file : {"kept1", "kept2"})
        fs::resize_file(tree_.path(file), 9'000);
    EXPECT_EQ(equalFiles(), (Sets{{"kept1", "kept2"}}));
}

TEST(DuplicateCandidates, KnowWhetherAnEntryIsStillTheSame) {
    const auto index = test::makeIndex({{"/a/x", 5}, {"/a/y", 5}, {"/b/z", 5}});
    const DuplicateCandidates candidates = candidatesOf(*index);
    const auto current = [&](EntryId id) {
        const ReadGuard guard(index->rwlock);
        return candidates.isCurrentLocked(*index, id, 5);
    };
    const EntryId x = test::idOf(*index, "/a/x");
    EXPECT_TRUE(current(x));
    {
        const WriteGuard guard(index->rwlock);
        index->tombstoneLocked(x);
        index->raiseGenerationLocked();
    }
    EXPECT_FALSE(current(x));
    index->reset();
    EXPECT_FALSE(current(x)) << "gone";
    test::addTree(*index, {{"/a/x", 5}, {"/a/other", 5}, {"/b/z", 6}});
    EXPECT_TRUE(current(x));
    EXPECT_FALSE(current(test::idOf(*index, "/a/other"))) << "another name";
    EXPECT_FALSE(current(test::idOf(*index, "/b/z"))) << "another size";
}

}  // namespace
}  // namespace dovra
