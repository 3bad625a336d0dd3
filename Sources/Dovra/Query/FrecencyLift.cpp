#include "Query/FrecencyLift.hpp"

#include <algorithm>
#include <string_view>
#include <unordered_map>

namespace dovra {

namespace {

using BoostByName = std::unordered_map<std::string_view, std::int32_t>;

std::unordered_map<std::string_view, BoostByName> groupedByFolder(std::span<const PathBoost> boosts) {
    std::unordered_map<std::string_view, BoostByName> folders;
    for (const auto& [path, boost] : boosts) {
        const std::string_view whole = path;
        const std::size_t slash = whole.rfind('/');
        if (slash == std::string_view::npos) continue;
        folders[slash == 0 ? "/" : whole.substr(0, slash)].emplace(whole.substr(slash + 1), boost);
    }
    return folders;
}

class Lifter {
public:
    Lifter(const FileIndex& index, std::span<const EntryId> matches) : index_(index), matches_(matches) {}

    void addFolder(DirIndex folder, const BoostByName& boosts) {
        const EntryLists& lists = index_.entriesByDirLocked();
        if (const auto run = lists.run(folder)) {
            addRange(run->first, run->first + run->count, boosts);
        } else {
            lists.forEach(folder, [&](EntryId id) { addRange(id, id + 1, boosts); });
        }
    }

    std::vector<LiftedMatch> takeLifted() { return std::move(lifted_); }

private:
    /// Looks at the matches from `first` to before `end`, all entries of one folder.
    void addRange(EntryId first, EntryId end, const BoostByName& boosts) {
        const auto begin = std::ranges::lower_bound(matches_, first);
        for (auto match = begin; match != matches_.end() && *match < end; ++match) {
            const auto found = boosts.find(index_.nameLocked(*match));
            if (found == boosts.end()) continue;
            lifted_.push_back({static_cast<std::size_t>(match - matches_.begin()), found->second});
        }
    }

    const FileIndex& index_;
    std::span<const EntryId> matches_;
    std::vector<LiftedMatch> lifted_;
};

}  // namespace

std::vector<LiftedMatch> liftedMatchesLocked(const FileIndex& index, std::span<const EntryId> matches) {
    const RankingBoost* frecency = index.frecencyLocked();
    if (frecency == nullptr) return {};
    const std::vector<PathBoost> boosts = frecency->boosts();
    Lifter lifter(index, matches);
    for (const auto& [path, boostByName] : groupedByFolder(boosts)) {
        if (const auto folder = index.directoriesLocked().find(path)) lifter.addFolder(*folder, boostByName);
    }
    return lifter.takeLifted();
}

}  // namespace dovra
