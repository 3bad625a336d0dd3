#include <gtest/gtest.h>
#include <random>
#include <set>
#include <vector>

#include "Query/EntrySet.hpp"

namespace dovra {
namespace {

TEST(EntrySet, BehavesLikeASet) {
    std::mt19937 random(1);
    for (const EntryId size : {0, 1, 63, 64, 65, 300}) {
        EntrySet entries(static_cast<std::size_t>(size));
        std::set<EntryId> model;
        for (int step = 0; step < 200 && size > 0; ++step) {
            const auto a = static_cast<EntryId>(random() % static_cast<unsigned>(size));
            const auto b = static_cast<EntryId>(random() % static_cast<unsigned>(size + 1));
            if (step % 3 == 0) {
                entries.erase(a);
                model.erase(a);
            } else if (step % 20 == 1) {
                entries.insert(EntryRange{a, std::max(a, b)});
                for (EntryId id = a; id < b; ++id)
                    model.insert(id);
            } else {
                entries.insert(a);
                model.insert(a);
            }
            std::vector<EntryId> visited;
            entries.forEach({a, std::max(a, b)}, [&](EntryId id) { visited.push_back(id); });
            const std::vector<EntryId> expected(model.lower_bound(a), model.lower_bound(std::max(a, b)));
            ASSERT_EQ(visited, expected);
            ASSERT_EQ(entries.contains(a), model.contains(a));
        }
        const std::vector<EntryId> all(model.begin(), model.end());
        EXPECT_EQ(entries.count(), std::ssize(all));
        for (const std::int64_t limit : {0, 1, 64, 1000}) {
            const auto wanted = std::min(limit, std::ssize(all));
            EXPECT_EQ(entries.firstIds(limit), std::vector(all.begin(), all.begin() + wanted));
        }
    }
}

TEST(EntrySet, MayLoseEntriesWhileItIsVisited) {
    EntrySet entries(200);
    entries.insert(EntryRange{0, 200});
    entries.forEach({0, 200}, [&](EntryId id) {
        if (id % 2 == 0) entries.erase(id);
    });
    EXPECT_EQ(entries.count(), 100);
}

}  // namespace
}  // namespace dovra
