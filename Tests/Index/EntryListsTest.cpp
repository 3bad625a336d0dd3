#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <random>
#include <vector>

#include "Index/EntryLists.hpp"

namespace dovra {
namespace {

std::vector<EntryId> listOf(const EntryLists& lists, DirIndex folder) {
    std::vector<EntryId> list;
    lists.forEach(folder, [&](EntryId id) { list.push_back(id); });
    return list;
}

TEST(EntryLists, BehavesLikeAMapOfLists) {
    std::mt19937 random(1);
    EntryLists lists;
    std::map<DirIndex, std::vector<EntryId>> model;
    for (int step = 0; step < 5000; ++step) {
        const auto folder = static_cast<DirIndex>(random() % 40);
        if (random() % 4 == 0) {
            const auto first = static_cast<EntryId>(random() % 100);
            std::vector<EntryId> run(random() % 4);
            std::iota(run.begin(), run.end(), first);
            lists.assignRun(folder, {first, static_cast<std::int32_t>(run.size())});
            model[folder] = run;
        } else {
            std::vector<EntryId>& list = model[folder];
            const bool follows = !list.empty() && random() % 2 == 0;
            const auto id = static_cast<EntryId>(follows ? list.back() + 1 : random() % 100);
            lists.append(folder, id);
            list.push_back(id);
        }
        if (random() % 50 == 0) {
            lists.forget(folder);
            model.erase(folder);
        }
        ASSERT_EQ(lists.contains(folder), model.contains(folder));
        ASSERT_EQ(listOf(lists, folder), model.contains(folder) ? model[folder] : std::vector<EntryId>());
    }
}

}  // namespace
}  // namespace dovra
