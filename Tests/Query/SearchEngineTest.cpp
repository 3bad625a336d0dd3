#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Base/PathText.hpp"
#include "Diagnostics/QueryGenerator.hpp"
#include "Diagnostics/SearchCheck.hpp"
#include "Index/FolderMerge.hpp"
#include "Query/QueryNeeds.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/FixedBoost.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

using test::makeIndex;
using testing::ElementsAre;
using testing::IsEmpty;
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

TEST(Search, AnExpressionMayTakeFewerStepsWhereThereAreMoreNames) {
    constexpr std::string_view pattern = "^(?:(?:a|a)*b|.*)$";
    const std::string slow(11, 'a');
    const auto steps = RegularExpression::compile(pattern, false)->stepsFor(slow + "00000");
    ASSERT_GT(steps, 10000U);
    ASSERT_LT(steps, RegularExpression::mostSteps);
    for (const auto& [names, abandoned] : {std::pair{10, 0}, std::pair{40000, 32000}}) {
        std::vector<test::IndexItem> items;
        for (int i = 0; i < names; ++i)
            items.emplace_back(fmt::format("/{}{:05}", i % 5 == 0 ? "" : slow, i));
        FileIndex index;
        test::addTree(index, items);
        for (const auto mode : {FileIndex::ScanMode::serial, FileIndex::ScanMode::parallel}) {
            index.setScanModeOverride(mode);
            const SearchResult result = search(index, fmt::format("regex:\"{}\"", pattern), {}, 0);
            EXPECT_EQ(result.abandoned, abandoned);
            EXPECT_EQ(result.total, names - abandoned);
        }
    }
}

TEST(Search, TooManyMatchesComeInTheOrderOfTheIndex) {
    FileIndex index;
    FolderListing listing;
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

TEST(Search, ScoresComeBestFirstUnlessRelevanceItselfIsTurnedAround) {
    const auto index = makeIndex({"/b-long-ab", "/a-x-b", "/ab"});
    for (const SortSpec sort : {SortSpec{Key::modified, false}, {Key::size, true}, {Key::relevance, true}})
        EXPECT_THAT(found(*index, "fuzzy:ab", sort, 1), ElementsAre("/ab"));
    EXPECT_EQ(found(*index, "fuzzy:ab", {Key::relevance, false}).back(), "/ab");
}

TEST(FrecencyLift, IsAddedToScores) {
    // Their scores differ by 3 and by 1.
    const auto index = test::makeIndex({"/ab", "/a-xb", "/a-xxb"});
    const auto lifted = [&](std::int32_t boost, std::int64_t limit) {
        index->setFrecency(
            std::make_shared<test::FixedBoost>(std::map<std::string, std::int32_t>{{"/a-xxb", boost}}));
        return found(*index, "fuzzy:ab", {Key::relevance, true}, limit);
    };
    EXPECT_THAT(lifted(1, 9), ElementsAre("/ab", "/a-xb", "/a-xxb"));
    EXPECT_THAT(lifted(2, 2), ElementsAre("/ab", "/a-xxb"));
    EXPECT_THAT(lifted(72, 1), ElementsAre("/a-xxb"));
}

TEST(RelevanceWithFrecency, PassesWaysOfMeetingTheTerm) {
    // The whole name, the stem, the start, the start of a word, and twice anywhere.
    const auto index = test::makeIndex({"/log", "/log.c", "/logger", "/a-log", "/blog", "/catalog"});
    const auto lifted = [&](const std::map<std::string, std::int32_t>& boosts, bool ascending = true) {
        index->setFrecency(std::make_shared<test::FixedBoost>(boosts));
        return found(*index, "log", {Key::relevance, ascending});
    };
    EXPECT_THAT(lifted({}), ElementsAre("/log", "/log.c", "/logger", "/a-log", "/blog", "/catalog"));
    // One open puts a file before its equals.
    EXPECT_THAT(lifted({{"/catalog", 16}}),
                ElementsAre("/log", "/log.c", "/logger", "/a-log", "/catalog", "/blog"));
    EXPECT_THAT(lifted({{"/catalog", 16}}, false),
                ElementsAre("/blog", "/catalog", "/a-log", "/logger", "/log.c", "/log"));
    EXPECT_THAT(lifted({{"/catalog", 40}}),
                ElementsAre("/log", "/log.c", "/logger", "/catalog", "/a-log", "/blog"));
    EXPECT_THAT(lifted({{"/catalog", 71}}),
                ElementsAre("/log", "/log.c", "/catalog", "/logger", "/a-log", "/blog"));
    EXPECT_THAT(lifted({{"/log", 72}, {"/blog", 72}}),
                ElementsAre("/log", "/blog", "/log.c", "/logger", "/a-log", "/catalog"));
    // Other orders know nothing of it.
    EXPECT_THAT(found(*index, "log", {Key::name, true}, 1), ElementsAre("/a-log"));
}

TEST(QueryNeeds, AsksForAttributesOnlyWhenTheyAreUsed) {
    const auto usesAttributes = [](std::string_view query, Key key = Key::name) {
        return queryNeeds(QueryParser::parse(query), {key, true}).detail == ListingDetail::attributes;
    };
    EXPECT_FALSE(usesAttributes("a|<b file:> empty: dupe: content:x"));
    EXPECT_FALSE(usesAttributes("size:huge", Key::path));
    EXPECT_TRUE(usesAttributes("a|!<b size:1>"));
    EXPECT_TRUE(usesAttributes("dc:today"));
    EXPECT_TRUE(usesAttributes("a", Key::size));
    EXPECT_TRUE(usesAttributes("a", Key::modified));
    EXPECT_TRUE(usesAttributes("dupe:c", SortSpec::Key::name));
}

/// Few kinds of names, so that many paths and parts of paths are equal. Among them are the Kelvin sign and
/// the long s, which fold to ASCII letters, and bytes that are not UTF-8.
std::vector<test::IndexItem> randomItems(std::mt19937& random, const std::string& root, std::size_t count) {
    constexpr std::string_view pieces[] = {
        "k",         "K",        " ",        "-", "a.b", "Ab",       "prefix0", "s", "S",    "\xE2\x84\xAA",
        "\xC5\xBF",  "\xC3\xA9", "\xC3\x89", "i", "I",   "\xC4\xB0", ".txt",    "1", "\xFF", "_",
        "E\xCC\x81", "@`[{"};
    constexpr std::uint64_t sizes[] = {0, 1, 255, 256, 1024, std::uint64_t{1} << 32, ~std::uint64_t{0}};
    constexpr double times[] = {0, -1, -1e9, 1, 1.7e9, 4e9};
    const std::size_t kinds = random() % 2 == 0 ? 7 : std::size(pieces);
    std::vector<test::IndexItem> items;
    std::vector<std::string> folders = {root.ends_with('/') ? root : root + "/"};
    while (items.size() < count) {
        std::string path = folders[random() % std::min<std::size_t>(folders.size(), 200)];
        for (std::size_t i = 1 + random() % (random() % 30 == 0 ? 60 : 4); i > 0; --i)
            path += pieces[random() % kinds];
        if (random() % 4 == 0) folders.push_back(path += "/");
        items.emplace_back(path, sizes[random() % std::size(sizes)], times[random() % std::size(times)]);
    }
    return items;
}

TEST(Search, ManyTermsMeanWhatFewDo) {
    FileIndex index;
    const auto trigram = std::make_shared<TrigramIndex>();
    index.attachTrigramIndex(trigram);
    std::mt19937 random(4);
    test::addTree(index, randomItems(random, "/", 2000), "/");
    SearchCheck check(index, trigram);
    for (int i = 0; i < 60; ++i) {
        const std::string separator = i % 3 == 0 ? " !" : "|";
        std::string query = i % 3 == 0 ? "!n-1" : "n-1";
        for (std::size_t count = 20 + random() % 30; count > 0; --count) {
            query += separator + std::string(random() % 8 == 0 ? "case:" : random() % 8 == 0 ? "path:" : "");
            query += random() % 10 == 0 ? "*K*" : test::randomText(random, "ksKS.-1abi", 2, 4);
            if (random() % 2 == 0) query += random() % 2 == 0 ? "\u00E9" : "\u212A";
        }
        ASSERT_THAT(check.differences({.query = query, .sort = {}, .limit = 9}), IsEmpty()) << query;
    }
    EXPECT_GT(check.matchedSearches(), 40U);
}

std::vector<EntryId> foundIds(const FileIndex& index, const GeneratedSearch& search) {
    std::vector<EntryId> ids;
    for (const FileRow& row : dovra::search(index, search.query, search.sort, search.limit).rows)
        ids.push_back(row.id);
    return ids;
}

/// The answer stays the same when the attributes that a scan would not have asked are others.
void expectNeededAttributesSuffice(FileIndex& index, const GeneratedSearch& search) {
    const CompiledQuery query = QueryParser::parse(search.query);
    const QueryNeeds needs = queryNeeds(query, search.sort);
    if (!needs.needsAttributes) return;
    const auto expected = foundIds(index, search);
    std::vector<std::pair<EntryId, RawDirent>> changed;
    for (EntryId id = 0; const FileEntry& entry : index.entriesLocked()) {
        if (!needs.needsAttributes(index.nameLocked(entry), entry.isFolder()))
            changed.push_back(
                {id, {.name = {}, .size = entry.size, .modTime = entry.modTime, .crTime = entry.crTime}});
        ++id;
    }
    const auto setAll = [&](const auto& attributesOf) {
        const WriteGuard guard(index.rwlock);
        for (const auto& [id, kept] : changed)
            index.refreshEntryLocked(id, attributesOf(kept));
    };
    setAll(
        [](const RawDirent&) { return RawDirent{.name = {}, .size = 300, .modTime = 3e9, .crTime = 3e9}; });
    EXPECT_EQ(foundIds(index, search), expected) << search.query;
    setAll([](const RawDirent& kept) { return kept; });
}

/// Every way to find the candidates, and every number of pieces, gives the answer of the slow search.
void expectSlowAnswers(unsigned seed, std::size_t entries, std::size_t searches) {
    std::mt19937 random(seed);
    FileIndex index;
    const auto trigram = std::make_shared<TrigramIndex>();
    index.attachTrigramIndex(trigram);
    // Nested roots, the inner one first or alone.
    if (seed % 3 == 0) test::addTree(index, randomItems(random, "/k/a.b", entries / 4), "/k/a.b");
    const std::string root = seed % 2 == 0 ? "/" : "/k";
    test::addTree(index, randomItems(random, root, entries), root);
    for (EntryId id = 5; id < 200 && id < index.itemCount(); id += 7)
        tombstone(index, id);
    // Folders whose entries no longer stand side by side.
    FolderListing other;
    for (const char* name : {"Ks", "k a.b", "prefix0s"})
        other.add({.name = name});
    const auto folders = static_cast<DirIndex>(index.directoriesLocked().count());
    for (DirIndex folder = 3; folder < folders; folder += 9)
        mergeListing(index, folder, other, {});
    SearchCheck check(index, trigram);
    QueryGenerator queries(index, seed, {.mayReadFiles = false});
    for (std::size_t i = 0; i < searches; ++i) {
        const GeneratedSearch search = queries.next();
        ASSERT_THAT(check.differences(search), IsEmpty()) << search.query << ", seed " << seed;
        expectNeededAttributesSuffice(index, search);
    }
    EXPECT_GT(check.matchedSearches(), searches / 4);
}

TEST(Search, AnswersLikeTheSlowSearch) {
    for (unsigned seed = 0; seed < 24; ++seed)
        ASSERT_NO_FATAL_FAILURE(expectSlowAnswers(seed, 40 + seed * 10, 200));
    expectSlowAnswers(24, 40000, 60);
}

}  // namespace
}  // namespace dovra
