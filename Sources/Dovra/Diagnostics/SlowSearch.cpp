#include "Diagnostics/SlowSearch.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Base/TextNeedle.hpp"
#include "Diagnostics/SlowMatch.hpp"
#include "Diagnostics/SlowQuery.hpp"

namespace dovra {

namespace {

using slow::Entry;

std::vector<EntryId> matchingIds(const FileIndex& index, const slow::Query& query) {
    std::vector<EntryId> ids;
    const auto count = static_cast<EntryId>(index.entriesLocked().size());
    for (EntryId id = 0; id < count; ++id) {
        const Entry entry{index, id};
        if (!entry.record().isTombstone() && query.test(entry)) ids.push_back(id);
    }
    return ids;
}

void keepEmptyFolders(const FileIndex& index, std::vector<EntryId>& ids) {
    std::vector<bool> holdsEntries(index.directoriesLocked().count());
    for (const FileEntry& entry : index.entriesLocked()) {
        if (!entry.isTombstone()) holdsEntries[static_cast<std::size_t>(entry.dirIndex)] = true;
    }
    std::erase_if(ids, [&](EntryId id) {
        const Entry entry{index, id};
        if (!entry.record().isFolder()) return true;
        const auto contents = index.directoriesLocked().find(entry.fullPath());
        const bool wasListed = contents && index.entriesByDirLocked().contains(*contents);
        return !wasListed || holdsEntries[static_cast<std::size_t>(*contents)];
    });
}

void keepDuplicates(const FileIndex& index, std::vector<EntryId>& ids) {
    std::unordered_map<std::string, int> counts;
    const auto nameOf = [&](EntryId id) { return lowercased(Entry{index, id}.name()); };
    for (const EntryId id : ids)
        ++counts[nameOf(id)];
    std::erase_if(ids, [&](EntryId id) { return counts[nameOf(id)] < 2; });
}

/// Sorts by a key of any comparable type; equal keys keep their order.
template <typename KeyOf>
void sortBy(std::vector<EntryId>& ids, bool ascending, const KeyOf& keyOf) {
    using Key = decltype(keyOf(EntryId{}));
    std::vector<std::pair<Key, EntryId>> keyed;
    for (const EntryId id : ids)
        keyed.emplace_back(keyOf(id), id);
    std::stable_sort(keyed.begin(), keyed.end(), [ascending](const auto& a, const auto& b) {
        return ascending ? a.first < b.first : b.first < a.first;
    });
    for (std::size_t i = 0; i < ids.size(); ++i)
        ids[i] = keyed[i].second;
}

void sortByScore(const FileIndex& index, std::vector<EntryId>& ids, bool ascending,
                 const slow::Query& query) {
    const auto& score = query.fuzzy ? query.fuzzy : query.similar;
    sortBy(ids, ascending, [&](EntryId id) {
        const std::string name = Entry{index, id}.name();
        return std::tuple(-score(name).value_or(0), name.size(), slow::folded(name));
    });
}

void sortByRelevance(const FileIndex& index, std::vector<EntryId>& ids, bool ascending,
                     const slow::Query& query) {
    sortBy(ids, ascending, [&](EntryId id) {
        const std::string name = Entry{index, id}.name();
        const auto& term = query.plainText;
        const int meeting = term ? slow::meeting(term->text, name, term->caseSensitive) : 0;
        return std::tuple(meeting, name.size(), slow::folded(name));
    });
}

void sortIds(const FileIndex& index, std::vector<EntryId>& ids, SortSpec sort, const slow::Query& query) {
    const auto entry = [&](EntryId id) { return Entry{index, id}; };
    if (query.fuzzy || query.similar) {
        const bool worstFirst = sort.key == SortSpec::Key::relevance && !sort.ascending;
        return sortByScore(index, ids, !worstFirst, query);
    }
    switch (sort.key) {
        case SortSpec::Key::name:
            return sortBy(ids, sort.ascending, [&](EntryId id) { return slow::folded(entry(id).name()); });
        case SortSpec::Key::path:
            return sortBy(ids, sort.ascending,
                          [&](EntryId id) { return slow::folded(entry(id).fullPath()); });
        case SortSpec::Key::size:
            return sortBy(ids, sort.ascending, [&](EntryId id) { return entry(id).record().size; });
        case SortSpec::Key::modified:
            return sortBy(ids, sort.ascending, [&](EntryId id) { return entry(id).record().modTime; });
        case SortSpec::Key::relevance:
            return sortByRelevance(index, ids, sort.ascending, query);
    }
}

FileRow rowOf(const Entry& entry) {
    return {.id = entry.id,
            .name = entry.name(),
            .path = entry.folder(),
            .size = entry.record().size,
            .modified = entry.record().modTime,
            .isDir = entry.record().isFolder()};
}

}  // namespace

std::optional<SearchResult> slowSearch(const FileIndex& index, std::string_view rawQuery, SortSpec sort,
                                       std::int64_t limit) {
    const slow::Query query = slow::parse(rawQuery);
    if (query.wantsContentDuplicates) return std::nullopt;
    const ReadGuard guard(index.rwlock);
    std::vector<EntryId> ids = matchingIds(index, query);
    if (query.wantsEmptyFolders) keepEmptyFolders(index, ids);
    if (query.wantsDuplicates) keepDuplicates(index, ids);
    SearchResult result;
    result.total = std::ssize(ids);
    if (result.total <= FileIndex::sortCap) sortIds(index, ids, sort, query);
    for (std::size_t i = 0; i < ids.size() && static_cast<std::int64_t>(i) < limit; ++i)
        result.rows.push_back(rowOf(Entry{index, ids[i]}));
    return result;
}

}  // namespace dovra
