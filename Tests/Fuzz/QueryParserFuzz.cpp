#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "Diagnostics/SlowSearch.hpp"
#include "Fuzz/FuzzCheck.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/IndexBuilder.hpp"

namespace {

using namespace dovra;

/// Longer queries are searched, but not by the slow search, which is recursive.
constexpr std::size_t longestCompared = 2000;

/// No such paths exist, so that no query can read a file.
std::unique_ptr<FileIndex> tinyIndex(bool usesTrigram) {
    auto index = std::make_unique<FileIndex>();
    if (usesTrigram) index->attachTrigramIndex(std::make_shared<TrigramIndex>());
    test::addTree(*index,
                  {"/absent/src/main.cpp",
                   "/absent/src/Main.hpp",
                   "/absent/src/kit/S\xC5\xBF\xE2\x84\xAA.K",
                   {"/absent/Read me.txt", 1536, 1709164800},
                   {"/absent/a!b|c.tar.gz", 1048577, -1},
                   "/absent/\xC3\x89t\xC3\xA9-E\xCC\x81.JPG",
                   "/absent/\xFF\xC3\n\"<>",
                   "/absent/main",
                   "/absent/void/"},
                  "/absent");
    const WriteGuard guard(index->rwlock);
    index->tombstoneLocked(1);
    return index;
}

bool areEqual(const SearchResult& a, const SearchResult& b) {
    return a.total == b.total && std::ranges::equal(a.rows, b.rows, {}, &FileRow::id, &FileRow::id);
}

}  // namespace

// Any bytes are a query: it ends, and finds what the slow search finds. Its length chooses the order.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto plain = tinyIndex(false);
    static const auto withTrigrams = tinyIndex(true);
    const std::string_view query(reinterpret_cast<const char*>(data), size);
    const SortSpec sort = {static_cast<SortSpec::Key>(size % 5), size / 5 % 2 == 0};
    constexpr std::int64_t limit = 1000;

    const SearchResult found = search(*plain, query, sort, limit);
    const SearchResult foundByTrigrams = search(*withTrigrams, query, sort, limit);
    fuzzCheck(areEqual(found, foundByTrigrams), "trigrams change nothing");
    if (size > longestCompared) return 0;
    const auto expected = slowSearch(*plain, query, sort, limit);
    fuzzCheck(!expected || areEqual(found, *expected), "the slow search finds the same");
    return 0;
}
