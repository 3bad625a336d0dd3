#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "Base/AsciiFold.hpp"
#include "Index/FileIndex.hpp"
#include "Query/NameScan.hpp"
#include "Support/RandomText.hpp"

namespace dovra {
namespace {

/// An index of random names, some of which end exactly with a word of 64 bytes or reach over several blocks
/// of the scan.
class RandomNames {
public:
    RandomNames(unsigned seed, std::string_view alphabet) : random(seed), alphabet_(alphabet) {
        const WriteGuard guard(index.rwlock);
        const DirIndex folder = index.internDirLocked("/");
        const std::size_t count = 1 + random() % (seed % 4 == 0 ? 2000 : 150);
        for (std::size_t i = 0; i < count; ++i) {
            names.push_back(randomName());
            index.appendEntryLocked({.name = names.back()}, folder);
        }
    }

    std::string randomNeedle() {
        const std::size_t length = random() % 2 == 0 ? 1 + random() % 3 : 1 + random() % 70;
        const std::string& name = names[random() % names.size()];
        if (random() % 4 == 0 || name.size() < length)
            return test::randomText(random, alphabet_, length, length);
        return name.substr(random() % (name.size() - length + 1), length);
    }

    /// A range that begins at a multiple of 64.
    EntryRange randomRange() {
        const auto count = static_cast<EntryId>(names.size());
        if (random() % 3 == 0) return {0, count};
        const auto first = static_cast<EntryId>(random() % names.size() / 64 * 64);
        return {first, first + static_cast<EntryId>(random() % static_cast<unsigned>(count - first + 1))};
    }

    FileIndex index;
    std::vector<std::string> names;
    std::mt19937 random;

private:
    std::string randomName() {
        const std::size_t toWordEnd = 64 - index.namePoolLocked().size() % 64;
        switch (random() % 40) {
            case 0:
                return test::randomText(random, alphabet_, 60, 200);
            case 1:
                return test::randomText(random, alphabet_, 4000, 9000);
            case 2:
                return test::randomText(random, alphabet_, toWordEnd, toWordEnd);
            default:
                return test::randomText(random, alphabet_, 1, 8);
        }
    }

    std::string_view alphabet_;
};

void expectHits(const RandomNames& names, const std::string& needle, bool fold, EntryRange range) {
    const ReadGuard guard(names.index.rwlock);
    EntrySet hits(names.names.size());
    scanNames(names.index, ScanNeedle(needle, fold, names.index.namePoolLocked()), range, hits);
    for (std::size_t i = 0; i < names.names.size(); ++i) {
        const auto id = static_cast<EntryId>(i);
        const std::string& name = names.names[i];
        const bool contains = fold ? asciiFolded(name).find(asciiFolded(needle)) != std::string::npos
                                   : name.find(needle) != std::string::npos;
        ASSERT_EQ(hits.contains(id), contains && range.first <= id && id < range.last)
            << needle << " in " << name << ", entry " << id << ", fold " << fold;
    }
}

TEST(NameScan, FindsWhatALoopOverTheNamesFinds) {
    // With one letter every position is a hit, and only the ends of names tell the entries apart. The last
    // alphabet holds bytes that differ like the two cases of a letter and are none.
    for (const std::string_view alphabet : {"a", "aAb", "abcdefgh.", "@`[{\xC1\xE1kK\x01!"}) {
        for (unsigned seed = 0; seed < 60; ++seed) {
            RandomNames names(seed, alphabet);
            for (int i = 0; i < 40; ++i) {
                const EntryRange range = names.randomRange();
                ASSERT_NO_FATAL_FAILURE(expectHits(names, names.randomNeedle(), i % 2 == 0, range));
            }
        }
    }
}

}  // namespace
}  // namespace dovra
