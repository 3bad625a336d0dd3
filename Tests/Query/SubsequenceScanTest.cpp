#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Query/FuzzyMatcher.hpp"
#include "Query/SubsequenceScan.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

/// Names of all lengths around the sizes of vectors, and long ones.
constexpr std::size_t longestNames[] = {3, 16, 33, 64, 65, 255};
constexpr std::string_view alphabet = "abAB@`[{_\x80\xe9\xc9";

void expectSameAsMatcher(const FileIndex& index, const std::string& pattern, bool caseSensitive) {
    const ReadGuard guard(index.rwlock);
    const auto count = static_cast<EntryId>(index.entriesLocked().size());
    const FuzzyMatcher matcher(pattern, caseSensitive);
    EntrySet hits(static_cast<std::size_t>(count));
    constexpr EntryId piece = 1216;  // neither the block of the scan nor a divisor of it
    for (EntryId first = 0; first < count; first += piece)
        scanSubsequences(index, Subsequence(pattern, !caseSensitive), {first, std::min(first + piece, count)},
                         hits);
    for (EntryId id = 0; id < count; ++id)
        ASSERT_EQ(hits.contains(id), matcher.score(index.nameLocked(id)).has_value())
            << pattern << " in " << index.nameLocked(id) << ", case " << caseSensitive;
}

TEST(SubsequenceScan, FindsTheNamesThatTheMatcherScores) {
    std::mt19937 random(1);
    DirectoryListing listing;
    for (int i = 0; i < 3000; ++i) {
        const std::size_t longest = longestNames[random() % std::size(longestNames)];
        listing.add({.name = test::randomText(random, alphabet, 1, longest)});
    }
    FileIndex index;
    {
        const WriteGuard guard(index.rwlock);
        index.storeListingLocked(index.internDirLocked("/"), listing);
    }
    for (int i = 0; i < 200; ++i) {
        const std::string pattern = test::randomText(random, alphabet, 1, i % 4 == 0 ? 40 : 6);
        for (const bool caseSensitive : {false, true})
            ASSERT_NO_FATAL_FAILURE(expectSameAsMatcher(index, pattern, caseSensitive));
    }
}

}  // namespace
}  // namespace dovra
