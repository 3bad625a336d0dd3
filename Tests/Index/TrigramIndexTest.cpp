#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "Index/TrigramIndex.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Names over few bytes, so that they share trigrams and repeat their own.
std::vector<std::string> randomNames(std::size_t count, std::mt19937& random) {
    constexpr std::string_view alphabet = "aAbBc.\xC3\xA9";
    std::vector<std::string> names(count);
    for (std::string& name : names) {
        name.resize(random() % 12);
        std::ranges::generate(name, [&] { return alphabet[random() % alphabet.size()]; });
    }
    return names;
}

/// The entries whose names share at least `least` of the wanted trigrams, found the slow way.
std::vector<EntryId> entriesSharing(const std::vector<std::string>& names, const TrigramSet& wanted,
                                    std::size_t least) {
    std::vector<EntryId> found;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string folded = asciiFolded(names[i]);
        const auto shared = std::ranges::count_if(wanted, [&](Trigram t) {
            const char bytes[] = {static_cast<char>(t >> 16), static_cast<char>(t >> 8),
                                  static_cast<char>(t)};
            return folded.find(std::string_view(bytes, 3)) != std::string::npos;
        });
        if (static_cast<std::size_t>(shared) >= least) found.push_back(static_cast<EntryId>(i));
    }
    return found;
}

TEST(TrigramIndex, TrigramsAreDistinctFoldedAndSorted) {
    EXPECT_THAT(TrigramIndex::trigrams("ab"), IsEmpty());
    EXPECT_THAT(TrigramIndex::trigrams("BaBaB"), ElementsAre(0x616261, 0x626162));
    EXPECT_THAT(TrigramIndex::trigrams("x\xC3\x89"), ElementsAre(0x78C389));
}

TEST(TrigramIndex, AnswersLikeASearchOfAllNames) {
    std::mt19937 random(7);
    const std::vector<std::string> names = randomNames(4000, random);
    TrigramIndex index;
    std::size_t postings = 0;
    for (std::size_t i = 0; i < names.size(); ++i) {
        index.add(static_cast<EntryId>(i), names[i]);
        postings += TrigramIndex::trigrams(names[i]).size();
    }
    EXPECT_EQ(index.postingCount(), postings);
    for (const std::string& text : randomNames(500, random)) {
        SCOPED_TRACE(testing::PrintToString(text));
        const TrigramSet wanted = TrigramIndex::trigrams(text);
        EXPECT_EQ(
            index.candidates(wanted),
            wanted.empty() ? std::nullopt : std::optional(entriesSharing(names, wanted, wanted.size())));
        EXPECT_EQ(index.unionOf(wanted), entriesSharing(names, wanted, 1));
    }
}

}  // namespace
}  // namespace dovra
