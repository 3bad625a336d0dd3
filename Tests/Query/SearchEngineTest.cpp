#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "Base/JoinPath.hpp"
#include "Query/EntryTest.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

using test::makeIndex;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Key = SortSpec::Key;

constexpr std::int64_t noLimit = std::numeric_limits<std::int64_t>::max();

std::vector<std::string> found(const FileIndex& index, std::string_view query, SortSpec sort = {},
                               std::int64_t limit = noLimit) {
    std::vector<std::string> paths;
    for (const FileRow& row : search(index, query, sort, limit).rows)
        paths.push_back(joinPath(row.path, row.name));
    return paths;
}

void tombstone(FileIndex& index, EntryId id) {
    const WriteGuard guard(index.rwlock);
    index.tombstoneLocked(id);
}

TEST(Search, TheEmptyQueryReturnsEveryLiveEntry) {
    const auto index = makeIndex({"/b", "/a/c", "/gone"});
    tombstone(*index, test::idOf(*index, "/gone"));
    for (const std::string_view query : {"", "  ", "\"\"", "*", "a|", "case:"}) {
        EXPECT_THAT(found(*index, query), ElementsAre("/a", "/b", "/a/c")) << query;
        const SearchResult result = search(*index, query, {}, 2);
        EXPECT_EQ(result.total, 3);
        EXPECT_EQ(result.rows.size(), 2U);
    }
    EXPECT_EQ(search(*index, "", {}, 0).total, 3);
    EXPECT_THAT(found(*index, "", {}, -5), IsEmpty());
    EXPECT_EQ(search(FileIndex(), "a", {}, 10).total, 0);
    EXPECT_EQ(search(FileIndex(), "path:a sort", {Key::path, true}, 10).total, 0);
}

TEST(Search, FillsRows) {
    const auto index = makeIndex({"/top", {"/folder/file", 7, 8.0}});
    const SearchResult result = search(*index, "fi|fo|top", {Key::path, true}, noLimit);
    ASSERT_EQ(result.rows.size(), 3U);
    EXPECT_EQ(result.rows[1].id, test::idOf(*index, "/folder/file"));
    EXPECT_EQ(result.rows[1].name, "file");
    EXPECT_EQ(result.rows[1].path, "/folder");
    EXPECT_EQ(result.rows[1].size, 7U);
    EXPECT_EQ(result.rows[1].modified, 8.0);
    EXPECT_FALSE(result.rows[1].isDir);
    EXPECT_TRUE(result.rows[0].isDir);
    EXPECT_EQ(result.rows[2].path, "/");
}

TEST(Search, SortsNamesWithoutCaseAndShorterFirst) {
    const auto index = makeIndex({"/ab", "/B", "/a", "/A"});
    EXPECT_THAT(found(*index, ""), ElementsAre("/a", "/A", "/ab", "/B"));
    EXPECT_THAT(found(*index, "", {Key::name, false}), ElementsAre("/B", "/ab", "/a", "/A"));
}

TEST(Search, FuzzyQueriesComeByScore) {
    const auto index = makeIndex({"/xaxxb", "/zab", "/ab"});
    EXPECT_THAT(found(*index, "fuzzy:ab"), ElementsAre("/ab", "/zab", "/xaxxb"));
    EXPECT_THAT(found(*index, "fuzzy:ab", {Key::size, true}), ElementsAre("/ab", "/zab", "/xaxxb"));
    EXPECT_THAT(found(*index, "fuzzy:ab", {Key::relevance, false}), ElementsAre("/xaxxb", "/zab", "/ab"));
}

TEST(Search, TooManyMatchesComeInTheOrderOfTheIndex) {
    FileIndex index;
    DirectoryListing listing;
    for (int i = 0; i <= FileIndex::sortCap; ++i)
        listing.add({.name = fmt::format("{}x", FileIndex::sortCap - i)});
    {
        const WriteGuard guard(index.rwlock);
        index.storeListingLocked(index.internDirLocked("/"), listing);
    }
    for (const std::string_view query : {"", "x", "fuzzy:x", "path:x"}) {
        const SearchResult result = search(index, query, {}, 3);
        EXPECT_EQ(result.total, FileIndex::sortCap + 1);
        ASSERT_EQ(result.rows.size(), 3U);
        EXPECT_EQ(result.rows[2].id, 2) << query;
    }
    tombstone(index, 0);
    EXPECT_THAT(found(index, "x", {}, 2), ElementsAre("/0x", "/100000x"));
    EXPECT_EQ(found(index, "x", {Key::path, false}, 1), std::vector<std::string>{"/9x"});
}

TEST(Search, EmptyKeepsFoldersThatHoldNothingAlive) {
    const auto index = makeIndex({"/empty/", "/full/x", "/emptied/gone", "/empty.txt"});
    tombstone(*index, test::idOf(*index, "/emptied/gone"));
    {
        const WriteGuard guard(index->rwlock);
        index->appendEntryLocked({.name = "unreadable", .isDir = true},
                                 *index->directoriesLocked().find("/"));
    }
    EXPECT_THAT(found(*index, "empty:"), ElementsAre("/emptied", "/empty"));
    EXPECT_THAT(found(*index, "empty: !ied"), ElementsAre("/empty"));
    tombstone(*index, test::idOf(*index, "/empty"));
    EXPECT_THAT(found(*index, "empty:"), ElementsAre("/emptied"));
}

TEST(Search, DupeKeepsNamesThatOccurTwiceAmongTheMatches) {
    const auto index = makeIndex({"/a/X.txt", "/b/x.TXT", "/b/y", "/c/y/", "/d/z", "/e/x.txt"});
    EXPECT_THAT(found(*index, "dupe: file:"), UnorderedElementsAre("/a/X.txt", "/b/x.TXT", "/e/x.txt"));
    EXPECT_THAT(found(*index, "dupe: y"), UnorderedElementsAre("/b/y", "/c/y"));
    EXPECT_EQ(search(*index, "dupe:", {}, 1).total, 5);
}

TEST(Search, SizeIsTrueOfFilesOnly) {
    const auto index = makeIndex({"/folder/", {"/none", 0}, {"/some", 10}});
    EXPECT_THAT(found(*index, "size:0"), ElementsAre("/none"));
    EXPECT_THAT(found(*index, "size:>=0", {Key::size, false}), ElementsAre("/some", "/none"));
    EXPECT_THAT(found(*index, "!size:>5"), ElementsAre("/folder", "/none"));
}

TEST(QueryNeeds, AsksForAttributesOnlyWhenTheyAreUsed) {
    const auto usesAttributes = [](std::string_view query, Key key = Key::name) {
        return queryNeeds(query, {key, true}).detail == ListingDetail::attributes;
    };
    EXPECT_FALSE(usesAttributes("a|<b file:> empty: dupe: content:x"));
    EXPECT_FALSE(usesAttributes("size:huge", Key::path));
    EXPECT_TRUE(usesAttributes("a|!<b size:1>"));
    EXPECT_TRUE(usesAttributes("dc:today"));
    EXPECT_TRUE(usesAttributes("a", Key::size));
    EXPECT_TRUE(usesAttributes("a", Key::modified));
    EXPECT_TRUE(usesAttributes("dupe:c", SortSpec::Key::name));
}

/// Random queries over the texts of an index.
class RandomQueries {
public:
    RandomQueries(const std::vector<std::string>& paths, unsigned seed) : paths_(paths), random_(seed) {}

    std::string query(int depth = 2) {
        std::string text;
        for (std::size_t operands = 1 + random_() % 3; operands > 0; --operands) {
            if (!text.empty()) text += random_() % 2 == 0 ? " " : "|";
            if (random_() % 5 == 0) text += "!";
            text += depth > 0 && random_() % 4 == 0 ? fmt::format("<{}>", query(depth - 1)) : term();
        }
        return text;
    }

private:
    std::string piece(std::size_t most) {
        const std::string& path = paths_[random_() % paths_.size()];
        const std::size_t from = random_() % 2 == 0 ? path.rfind('/') + 1 : random_() % path.size();
        return path.substr(from, 1 + random_() % most);
    }

    std::string regex(const std::string& text) {
        switch (random_() % 4) {
            case 0:
                return fmt::format("{}?{}", text, piece(3));
            case 1:
                return fmt::format("{}|{}", text, piece(3));
            case 2:
                return fmt::format("(?:{})+{}", text, piece(2));
            default:
                return text;
        }
    }

    std::string term() {
        constexpr std::string_view keys[] = {
            "",      "",       "",      "path:",  "stem:",   "ww:",      "case:", "ext:",
            "name:", "fuzzy:", "like:", "regex:", "regex:^", "regex:.*", "size:>"};
        const std::string_view key = keys[random_() % std::size(keys)];
        std::string value = piece(5);
        if (key.starts_with("regex")) value = regex(value);
        if (key == "size:>") value = std::to_string(random_() % 9);
        if (random_() % 6 == 0)
            value.insert(random_() % (value.size() + 1), 1, random_() % 2 == 0 ? '*' : '?');
        return fmt::format("{}\"{}\"", key, value);
    }

    const std::vector<std::string>& paths_;
    std::mt19937 random_;
};

std::vector<test::IndexItem> randomItems(std::size_t count, unsigned seed) {
    // Among them the Kelvin sign and the long s, which fold to ASCII letters, and bytes that are no UTF-8.
    constexpr std::string_view pieces[] = {"k",        "K",        "s", "S", "\xE2\x84\xAA", "\xC5\xBF",
                                           "\xC3\xA9", "\xC3\x89", "i", "I", "\xC4\xB0",     "ab",
                                           "Ab",       ".",        "-", "1", ".txt",         "\xFF"};
    std::mt19937 random(seed);
    std::vector<test::IndexItem> items;
    std::vector<std::string> folders = {"/"};
    while (items.size() < count) {
        std::string name = "n";
        for (std::size_t i = random() % 5; i > 0; --i)
            name += pieces[random() % std::size(pieces)];
        const std::string path = folders[random() % std::min<std::size_t>(folders.size(), 200)] + name;
        const bool isFolder = random() % 4 == 0;
        if (isFolder) folders.push_back(path + "/");
        items.emplace_back(isFolder ? path + "/" : path, random() % 9);
    }
    return items;
}

/// However the candidates of a query are found, the result is what testing every entry gives.
TEST(Search, FindsWhatTestingEveryEntryFinds) {
    for (const std::size_t count : {200, 40000}) {
        FileIndex plain, withTrigrams;
        withTrigrams.attachTrigramIndex(std::make_shared<TrigramIndex>());
        for (FileIndex* index : {&plain, &withTrigrams}) {
            test::addTree(*index, randomItems(count, 1));
            for (EntryId id = 5; id < 200; id += 7)
                tombstone(*index, id);
        }
        const std::vector<std::string> paths = test::allPaths(plain);
        RandomQueries queries(paths, 2);
        std::int64_t matches = 0;
        for (std::size_t i = 0; i < 4'000'000 / count && i < 3000; ++i) {
            const std::string query = queries.query();
            std::vector<EntryId> expected;
            {
                const CompiledQuery compiled = QueryParser::parse(query);
                const QueryProgram program(compiled.tree);
                const ReadGuard guard(plain.rwlock);
                EntryTest test(plain, program);
                for (EntryId id = 0; id < std::ssize(paths); ++id) {
                    const FileEntry& entry = plain.entriesLocked()[static_cast<std::size_t>(id)];
                    if (!entry.isTombstone() && test.matches(id)) expected.push_back(id);
                }
            }
            matches += std::ssize(expected);
            plain.setScanModeOverride(i % 2 == 0 ? FileIndex::ScanMode::serial
                                                 : FileIndex::ScanMode::parallel);
            for (const FileIndex* index : {&plain, &withTrigrams}) {
                const SearchResult result = search(*index, query, {Key::size, true}, noLimit);
                std::vector<EntryId> ids;
                for (const FileRow& row : result.rows)
                    ids.push_back(row.id);
                std::ranges::sort(ids);
                ASSERT_EQ(result.total, std::ssize(expected)) << query;
                ASSERT_EQ(ids, expected) << query;
            }
        }
        EXPECT_GT(matches, 1000);
    }
}

}  // namespace
}  // namespace dovra
