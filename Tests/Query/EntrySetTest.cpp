#include <gtest/gtest.h>
#include <random>
#include <set>
#include <vector>

#include "Query/EntrySet.hpp"

namespace dovra {
namespace {

TEST(EntrySet, BehavesLikeASet) {
    std::mt19937 random(1);
    for (const EntryId size : {1, 63, 64, 65, 300}) {
        EntrySet entries(static_cast<std::size_t>(size));
        std::set<EntryId> model;
        for (int step = 0; step < 200; ++step) {
            const auto first = static_cast<EntryId>(random() % static_cast<unsigned>(size));
            const auto last =
                first + static_cast<EntryId>(random() % static_cast<unsigned>(size - first + 1));
            // Seldom many at once.
            const EntryRange range{first, step % 21 == 2 ? last : first + 1};
            if (step % 3 == 0) entries.erase(first), model.erase(first);
            if (step % 3 == 1) entries.insert(first), model.insert(first);
            if (step % 3 == 2) entries.insert(range);
            for (EntryId id = range.first; id < range.last && step % 3 == 2; ++id)
                model.insert(id);
            std::vector<EntryId> visited;
            entries.forEach({first, last}, [&](EntryId id) {
                visited.push_back(id);
                // Entries may be lost while they are visited.
                if (step % 50 == 0) entries.erase(id);
            });
            ASSERT_EQ(visited, std::vector(model.lower_bound(first), model.lower_bound(last)));
            if (step % 50 == 0) model.erase(model.lower_bound(first), model.lower_bound(last));
            ASSERT_EQ(entries.contains(first), model.contains(first));
            ASSERT_EQ(entries.count(), std::ssize(model));
        }
        for (const std::int64_t limit : {0, 1, 64, 1000}) {
            const auto end = std::next(model.begin(), std::min(limit, std::ssize(model)));
            EXPECT_EQ(entries.firstIds(limit), std::vector(model.begin(), end));
        }
    }
}

}  // namespace
}  // namespace dovra
