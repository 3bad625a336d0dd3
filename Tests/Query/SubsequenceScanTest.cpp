#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Query/FuzzyMatcher.hpp"
#include "Query/SubsequenceScan.hpp"

namespace dovra {
namespace {

std::string randomText(std::mt19937& random, std::string_view alphabet, std::size_t longest) {
    std::string text;
    for (std::size_t left = 1 + random() % longest; left > 0; --left)
        text += alphabet[random() % alphabet.size()];
    return text;
}

/// Names of all lengths around the sizes of vectors, and long ones.
constexpr std::size_t longestNames[] = {3, 16, 33, 64, 65, 255};
constexpr std::string_view alphabet = "abAB@`[{_\x80\xe9\xc9";

void fill(FileIndex& index, std::mt19937& random) {
    DirectoryListing listing;
    for (int i = 0; i < 3000; ++i) {
        const std::size_t longest = longestNames[random() % std::size(longestNames)];
        listing.add({.name = randomText(random, alphabet, longest)});
    }
    const WriteGuard guard(index.rwlock);
    index.storeListingLocked(index.internDirLocked("/"), listing);
}

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
    FileIndex index;
    fill(index, random);
    for (int i = 0; i < 200; ++i) {
        const std::string pattern = randomText(random, alphabet, i % 4 == 0 ? 40 : 6);
        for (const bool caseSensitive : {false, true})
            expectSameAsMatcher(index, pattern, caseSensitive);
        if (HasFatalFailure()) return;
    }
}

}  // namespace
}  // namespace dovra
