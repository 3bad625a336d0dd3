#include "Query/ContentDuplicates.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>

#include "Analysis/ContentComparison.hpp"
#include "Analysis/DuplicateCandidates.hpp"
#include "Query/SearchEngine.hpp"

namespace dovra {

namespace {

using Finder = DuplicateFinder;

std::vector<Finder::Item> matchingItems(const FileIndex& index, const CompiledQuery& query) {
    const ReadGuard guard(index.rwlock);
    const EntrySet matches = matchesLocked(index, query);
    return duplicateItemsLocked(index, matches.firstIds(std::numeric_limits<std::int64_t>::max()));
}

/// Drops files whose entries have changed since their contents were compared.
void dropChangedLocked(const FileIndex& index, const DuplicateCandidates& candidates,
                       std::vector<Finder::SizeGroup>& groups) {
    for (Finder::SizeGroup& group : groups)
        std::erase_if(group.ids,
                      [&](EntryId id) { return !candidates.isCurrentLocked(index, id, group.size); });
    std::erase_if(groups, [](const Finder::SizeGroup& group) { return group.ids.size() < 2; });
}

/// Finds the sets and calls `use` with them under the read lock.
template <typename Use>
auto withContentDuplicates(const FileIndex& index, const CompiledQuery& query, HashProgress& progress,
                           const Use& use) {
    const DuplicateCandidates candidates(index, matchingItems(index, query));
    std::vector<Finder::SizeGroup> groups = contentDuplicateGroups(candidates, progress, query.stop);
    const ReadGuard guard(index.rwlock);
    dropChangedLocked(index, candidates, groups);
    return use(groups);
}

}  // namespace

std::vector<DuplicateGroup> findContentDuplicates(const FileIndex& index, const CompiledQuery& query,
                                                  HashProgress* progress) {
    HashProgress unseen;
    return withContentDuplicates(index, query, progress != nullptr ? *progress : unseen,
                                 [&](std::span<const Finder::SizeGroup> groups) {
                                     std::vector<DuplicateGroup> found;
                                     for (const Finder::SizeGroup& group : groups)
                                         found.push_back({group.size, rowsLocked(index, group.ids)});
                                     return found;
                                 });
}

SearchResult searchContentDuplicates(const FileIndex& index, const CompiledQuery& query, std::int64_t limit) {
    HashProgress unseen;
    return withContentDuplicates(index, query, unseen, [&](std::span<const Finder::SizeGroup> groups) {
        std::vector<EntryId> ids;
        for (const Finder::SizeGroup& group : groups)
            ids.insert(ids.end(), group.ids.begin(), group.ids.end());
        SearchResult result;
        result.total = std::ssize(ids);
        result.abandoned = query.tree.abandonedMatches();
        ids.resize(static_cast<std::size_t>(std::clamp<std::int64_t>(limit, 0, std::ssize(ids))));
        result.rows = rowsLocked(index, ids);
        return result;
    });
}

}  // namespace dovra
