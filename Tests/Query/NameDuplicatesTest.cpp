#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "Base/UnicodeFold.hpp"
#include "Index/FileIndex.hpp"
#include "Query/NameDuplicates.hpp"

namespace dovra {
namespace {

TEST(NameDuplicates, KeepsNamesThatOccurTwiceAmongTheMatches) {
    const std::string_view pieces[] = {"a", "A", "b", "\xC3\xA9", "\xC3\x89", "\xFF", "e\xCC\x81"};
    for (unsigned seed = 0; seed < 50; ++seed) {
        std::mt19937 random(seed);
        FileIndex index;
        const WriteGuard guard(index.rwlock);
        const DirIndex folder = index.internDirLocked("/");
        EntrySet matches(60);
        std::map<std::string, int> counts;
        for (EntryId id = 0; id < 60; ++id) {
            std::string name(pieces[random() % std::size(pieces)]);
            for (std::size_t i = random() % 4; i > 0; --i)
                name += pieces[random() % std::size(pieces)];
            index.appendEntryLocked({.name = name, .isDir = random() % 2 == 0}, folder);
            if (random() % 2 == 0) continue;
            matches.insert(id);
            ++counts[lowercased(name)];
        }
        EntrySet kept = matches;
        filterDuplicatesLocked(index, kept);
        for (EntryId id = 0; id < 60; ++id) {
            const bool expected = matches.contains(id) && counts[lowercased(index.nameLocked(id))] > 1;
            ASSERT_EQ(kept.contains(id), expected) << seed << " " << index.nameLocked(id);
        }
    }
}

}  // namespace
}  // namespace dovra
