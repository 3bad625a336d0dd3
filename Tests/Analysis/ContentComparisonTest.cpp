#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <sys/stat.h>

#include "Analysis/ContentComparison.hpp"
#include "Index/Crawl.hpp"
#include "Support/FewDescriptors.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/Privileges.hpp"
#include "Support/RandomText.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;
/// Sorted, and each set sorted.
using Sets = std::vector<Paths>;

constexpr std::size_t sliceBytes = DuplicateFinder::sliceBytes;

std::vector<EntryId> allIds(const FileIndex& index) {
    const ReadGuard guard(index.rwlock);
    std::vector<EntryId> ids(index.entriesLocked().size());
    for (std::size_t i = 0; i < ids.size(); ++i)
        ids[i] = static_cast<EntryId>(i);
    return ids;
}

DuplicateCandidates candidatesOf(const FileIndex& index) {
    const auto items = [&] {
        const std::vector<EntryId> ids = allIds(index);
        const ReadGuard guard(index.rwlock);
        return duplicateItemsLocked(index, ids);
    }();
    return {index, items};
}

/// A tree that is scanned, changed, and then searched for equal files.
class ContentComparison : public testing::Test {
protected:
    void scan() { crawl(index_, {tree_.path()}, {}); }

    /// The sets, as paths relative to the tree.
    Sets equalFiles() {
        const DuplicateCandidates candidates = candidatesOf(index_);
        Sets sets;
        for (const auto& [size, ids] : contentDuplicateGroups(candidates, progress_)) {
            EXPECT_TRUE(std::ranges::is_sorted(ids));
            Paths& set = sets.emplace_back();
            for (const EntryId id : ids)
                set.push_back(fs::relative(candidates.path(id).value(), tree_.path()));
            std::ranges::sort(set);
        }
        std::ranges::sort(sets);
        return sets;
    }

    const test::TemporaryTree tree_;
    FileIndex index_;
    HashProgress progress_;
};

/// What the libraries read for themselves when they start their threads, at most.
constexpr std::uint64_t readElsewhere = 32 * 1024;

/// Counts what the process reads, from any file.
std::uint64_t bytesRead() {
    std::ifstream counters("/proc/self/io");
    std::string name;
    std::uint64_t value = 0;
    counters >> name >> value;
    EXPECT_EQ(name, "rchar:");
    return value;
}

TEST_F(ContentComparison, FindsWhatComparingEveryByteFinds) {
    std::mt19937 random(11);
    std::map<std::string, Paths> byContent;
    std::vector<std::string> contents;
    for (int number = 0; number < 600; ++number) {
        constexpr std::size_t sizes[] = {1, 2, 100, 4095, 4096, 4097, 8191, 8192, 8193, 20'000, 300'000};
        const std::size_t size = sizes[random() % std::size(sizes)];
        std::string content(size, static_cast<char>('a' + random() % 2));
        if (random() % 2 == 0) content[random() % size] = 'z';
        if (!contents.empty() && random() % 3 == 0) content = contents[random() % contents.size()];
        contents.push_back(content);
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
    EXPECT_EQ(equalFiles(), expected);
    EXPECT_EQ(progress_.filesDone, progress_.filesToHash);
    EXPECT_EQ(progress_.bytesDone, progress_.bytesToHash);
}

TEST_F(ContentComparison, StopsReadingAtTheFirstDifference) {
    const std::string base(6 * sliceBytes, 'x');
    const auto nearlyBase = [&](std::size_t position) {
        std::string bytes = base;
        bytes[position] = 'y';
        return bytes;
    };
    struct Case {
        std::size_t position;
        std::uint64_t bytes;  ///< read of both files together
    };
    const Case cases[] = {{0, 2 * 4096},
                          {base.size() - 1, 4 * 4096},
                          {4096, 4 * 4096 + 2 * sliceBytes},
                          {4096 + 2 * sliceBytes, 4 * 4096 + 6 * sliceBytes}};
    tree_.write("base", base);
    for (const auto& [position, bytes] : cases) {
        tree_.write("other", nearlyBase(position));
        index_.reset();
        scan();
        const std::uint64_t before = bytesRead();
        EXPECT_EQ(equalFiles(), Sets{}) << position;
        const std::uint64_t read = bytesRead() - before;
        EXPECT_GE(read, bytes) << position;
        EXPECT_LE(read, bytes + readElsewhere) << position;
    }
}

TEST_F(ContentComparison, ReadsNothingOfALoneSizeOrAnEmptyFile) {
    tree_.write("a", std::string(100'000, 'x'));
    tree_.write("b", std::string(100'001, 'x'));
    tree_.write("empty");
    tree_.write("empty too");
    scan();
    const std::uint64_t before = bytesRead();
    EXPECT_EQ(equalFiles(), Sets{});
    EXPECT_LE(bytesRead() - before, readElsewhere);
}

TEST_F(ContentComparison, NamesOfOneFileAreOneCopy) {
    const std::string bytes(sliceBytes, 'x');
    const std::string file = tree_.write("link0", bytes);
    for (int number = 1; number < 50; ++number)
        fs::create_hard_link(file, tree_.path(fmt::format("link{}", number)));
    scan();
    const std::uint64_t before = bytesRead();
    EXPECT_EQ(equalFiles(), Sets{});
    EXPECT_LE(bytesRead() - before, readElsewhere) << "names of one file are equal unread";
    EXPECT_EQ(progress_.furtherNames, 49);
}

TEST_F(ContentComparison, TheFirstOfAFilesNamesStandsForItAndIsReadOnce) {
    const std::string bytes(sliceBytes, 'x');
    for (const char* name : {"a", "b", "other"}) {
        const std::string file = tree_.write(name, bytes);
        for (int number = 0; number < 20; ++number)
            fs::create_hard_link(file, tree_.path(fmt::format("{}{}", name, number)));
    }
    std::ofstream(tree_.path("other"), std::ios::in).seekp(sliceBytes / 2).put('y');
    scan();
    const auto firstNameOf = [&](const std::string& name) {
        EntryId first = test::idOf(index_, tree_.path(name));
        for (int number = 0; number < 20; ++number)
            first = std::min(first, test::idOf(index_, tree_.path(fmt::format("{}{}", name, number))));
        return fs::relative(index_.fullPath(first).value(), tree_.path()).string();
    };
    const std::uint64_t before = bytesRead();
    EXPECT_EQ(equalFiles(), (Sets{Paths{firstNameOf("a"), firstNameOf("b")}}));
    EXPECT_LE(bytesRead() - before, 3 * sliceBytes + readElsewhere);
    EXPECT_EQ(progress_.furtherNames, 60);
}

/// Something that happens to a file between the scan and the reading.
struct Change {
    const char* name;
    std::function<void(const std::string& path)> apply;
};

void replaceBy(const std::string& path, const std::function<int(const char*)>& make) {
    fs::remove(path);
    ASSERT_EQ(make(path.c_str()), 0);
}

const Change changes[] = {
    {"removed", [](const std::string& path) { fs::remove(path); }},
    {"shrunk", [](const std::string& path) { fs::resize_file(path, 9'999); }},
    {"emptied", [](const std::string& path) { fs::resize_file(path, 0); }},
    {"grown", [](const std::string& path) { fs::resize_file(path, 10'001); }},
    {"pipe", [](const std::string& path) { replaceBy(path, [](auto* p) { return ::mkfifo(p, 0600); }); }},
    {"link", [](const std::string& path) { replaceBy(path, [](auto* p) { return ::symlink("kept1", p); }); }},
    {"loop", [](const std::string& path) { replaceBy(path, [](auto* p) { return ::symlink(p, p); }); }},
    {"folder", [](const std::string& path) { replaceBy(path, [](auto* p) { return ::mkdir(p, 0700); }); }},
    {"unreadable", [](const std::string& path) { fs::permissions(path, fs::perms::none); }},
};

TEST_F(ContentComparison, WhatChangedSinceTheScanIsLeftOut) {
    for (const Change& change : changes) {
        fs::remove_all(tree_.path());
        const std::string bytes(10'000, 'x');
        tree_.write("kept1", bytes);
        tree_.write("kept2", bytes);
        const std::string changed = tree_.write("changed", bytes);
        fs::permissions(tree_.path(), fs::perms::all);
        index_.reset();
        scan();
        change.apply(changed);
        const test::OrdinaryUser user;
        ASSERT_TRUE(user.isOrdinary());
        EXPECT_EQ(equalFiles(), (Sets{{"kept1", "kept2"}})) << change.name;
    }
}

TEST_F(ContentComparison, ADeviceIsNotRead) {
    const std::string bytes(10'000, '\0');
    tree_.write("a", bytes);
    const std::string other = tree_.write("b", bytes);
    scan();
    fs::remove(other);
    // The device that gives as many zeros as are asked for.
    if (::mknod(other.c_str(), S_IFCHR | 0600, (1U << 8) | 5) != 0) GTEST_SKIP() << "needs root";
    EXPECT_EQ(equalFiles(), Sets{});
}

TEST_F(ContentComparison, FilesThatShrankCountWithWhatTheyHold) {
    for (const char* name : {"a", "b", "c"})
        tree_.write(name, std::string(20'000, 'x'));
    scan();
    fs::resize_file(tree_.path("a"), 9'000);
    fs::resize_file(tree_.path("b"), 9'000);
    EXPECT_EQ(equalFiles(), (Sets{{"a", "b"}}));
}

TEST_F(ContentComparison, AnyNamesWillDo) {
    tree_.write("line\nbreak \"quoted\" \xff\x1b", "same");
    tree_.write(std::string(255, 'n'), "same");
    scan();
    EXPECT_EQ(equalFiles().at(0).size(), 2);
}

TEST_F(ContentComparison, NeedsNoDescriptorForEachFile) {
    for (int number = 0; number < 400; ++number)
        tree_.write(std::to_string(number), std::string(9'000, number % 2 == 0 ? 'x' : 'y'));
    scan();
    const test::FewDescriptors few(64);
    const Sets sets = equalFiles();
    ASSERT_EQ(sets.size(), 2);
    EXPECT_EQ(sets[0].size(), 200);
    EXPECT_EQ(sets[1].size(), 200);
}

TEST(DuplicateCandidates, LeaveOutFoldersLinksAndTombstones) {
    const test::TemporaryTree tree;
    tree.write("a", "same");
    tree.write("b", "same");
    tree.write("c", "same");
    fs::create_symlink("four", tree.path("link"));
    tree.makeFolder("folder");
    FileIndex index;
    crawl(index, {tree.path()}, {});
    const EntryId deleted = test::idOf(index, tree.path("c"));
    {
        const WriteGuard guard(index.rwlock);
        index.tombstoneLocked(deleted);
    }
    const DuplicateCandidates candidates = candidatesOf(index);
    ASSERT_EQ(candidates.groups().size(), 1);
    EXPECT_EQ(candidates.groups()[0].ids.size(), 2);
}

TEST(DuplicateCandidates, KnowWhetherAnEntryIsStillTheSame) {
    const auto index = test::makeIndex({{"/a/x", 5}, {"/a/y", 5}, {"/b/z", 5}});
    const DuplicateCandidates candidates = candidatesOf(*index);
    const auto current = [&](EntryId id) {
        const ReadGuard guard(index->rwlock);
        return candidates.isCurrentLocked(*index, id, 5);
    };
    const EntryId x = test::idOf(*index, "/a/x");
    const EntryId y = test::idOf(*index, "/a/y");
    EXPECT_TRUE(current(x));
    {
        const WriteGuard guard(index->rwlock);
        index->tombstoneLocked(x);
        index->raiseGenerationLocked();
    }
    EXPECT_FALSE(current(x));
    EXPECT_TRUE(current(y));

    index->reset();
    EXPECT_FALSE(current(y));
    test::addTree(*index, {{"/a/x", 5}, {"/a/other", 5}, {"/b/z", 6}});
    EXPECT_TRUE(current(x));
    EXPECT_FALSE(current(y));
    EXPECT_FALSE(current(test::idOf(*index, "/b/z")));
}

}  // namespace
}  // namespace dovra
