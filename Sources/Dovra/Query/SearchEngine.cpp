#include "Query/SearchEngine.hpp"

#include <algorithm>
#include <limits>

#include "Base/ConcurrentPerform.hpp"
#include "Base/JoinPath.hpp"
#include "Index/FolderPaths.hpp"
#include "Query/CandidateSource.hpp"
#include "Query/ContentDuplicates.hpp"
#include "Query/EntrySet.hpp"
#include "Query/EntryTest.hpp"
#include "Query/MatchOrder.hpp"
#include "Query/NameDuplicates.hpp"
#include "Query/RegexLiterals.hpp"

namespace dovra {

namespace {

/// Below this an index is searched on the calling thread: waking others would take longer.
constexpr std::size_t parallelEntries = 50000;

/// Entries that one thread takes at a time: names enough for the scan to run at full speed, and pieces enough
/// to share. Tests that read files are shared out in smaller pieces. Both are multiples of 64.
constexpr EntryId entriesPerPiece = 16384;
constexpr EntryId entriesPerSlowPiece = 64;

EntryRange allEntries(const FileIndex& index) {
    return {0, static_cast<EntryId>(index.entriesLocked().size())};
}

void eraseTombstones(const FileIndex& index, EntryRange range, EntrySet& matches) {
    if (index.tombstoneCountLocked() == 0) return;
    const auto entries = index.entriesLocked();
    matches.forEach(range, [&](EntryId id) {
        if (entries[static_cast<std::size_t>(id)].isTombstone()) matches.erase(id);
    });
}

/// Erases the candidates that do not meet the query.
void testCandidates(const FileIndex& index, const QueryProgram& program, EntryRange range,
                    const std::stop_token& stop, EntrySet& candidates) {
    eraseTombstones(index, range, candidates);
    if (program.acceptsAll()) return;
    EntryTest test(index, program, stop);
    candidates.forEach(range, [&](EntryId id) {
        if (!test.matches(id)) candidates.erase(id);
    });
}

EntrySet matchAllLocked(const FileIndex& index) {
    EntrySet matches(index.entriesLocked().size());
    matches.insert(allEntries(index));
    eraseTombstones(index, allEntries(index), matches);
    return matches;
}

/// A search over one index, with what all its pieces share.
struct Scan {
    const FileIndex& index;
    const CandidateSource& source;
    const QueryProgram& program;
    const std::stop_token& stop;

    void run(EntryRange range, EntrySet& matches) const {
        source.scan(range, matches);
        testCandidates(index, program, range, stop, matches);
    }
};

void serialScanLocked(const Scan& scan, EntrySet& matches) {
    scan.run(allEntries(scan.index), matches);
}

void parallelScanLocked(const Scan& scan, EntryId entriesEach, EntrySet& matches) {
    const EntryRange all = allEntries(scan.index);
    const auto pieces = (static_cast<std::size_t>(all.last) + static_cast<std::size_t>(entriesEach) - 1) /
                        static_cast<std::size_t>(entriesEach);
    concurrentPerform(pieces, [&](std::size_t piece) {
        const auto first = static_cast<std::int64_t>(piece) * entriesEach;
        const auto last = std::min<std::int64_t>(first + entriesEach, all.last);
        scan.run({static_cast<EntryId>(first), static_cast<EntryId>(last)}, matches);
    });
}

EntrySet scanLocked(const FileIndex& index, const CompiledQuery& query) {
    const CandidatePlan plan = planCandidates(index, query.tree);
    const QueryProgram program(query.tree, plan.provenNode);
    const Scan scan{index, *plan.source, program, query.stop};
    EntrySet matches(index.entriesLocked().size());
    const bool isLarge = index.entriesLocked().size() >= parallelEntries;
    const auto mode = index.scanModeOverrideLocked().value_or(isLarge ? FileIndex::ScanMode::parallel
                                                                      : FileIndex::ScanMode::serial);
    const bool isSlow = query.tree.weight(query.tree.root()) > 0;
    if (mode == FileIndex::ScanMode::serial) {
        serialScanLocked(scan, matches);
    } else {
        parallelScanLocked(scan, isSlow ? entriesPerSlowPiece : entriesPerPiece, matches);
    }
    return matches;
}

EntrySet selectMatchesLocked(const FileIndex& index, const CompiledQuery& query) {
    if (query.tree.matchesAll()) return matchAllLocked(index);
    const auto candidates = trigramCandidatesLocked(index, query.tree);
    if (!candidates) return scanLocked(index, query);
    EntrySet matches(index.entriesLocked().size());
    for (const EntryId id : *candidates)
        matches.insert(id);
    testCandidates(index, QueryProgram(query.tree), allEntries(index), query.stop, matches);
    return matches;
}

std::vector<EntryId> orderedIdsLocked(const FileIndex& index, const CompiledQuery& query,
                                      const EntrySet& matches, std::int64_t total, SortSpec sort,
                                      std::int64_t limit) {
    if (total > FileIndex::sortCap) return matches.firstIds(limit);
    std::vector<EntryId> ids = matches.firstIds(std::numeric_limits<std::int64_t>::max());
    if (query.prefersRelevance()) {
        // A direction that was asked for another key says nothing about scores.
        const bool bestFirst = sort.key != SortSpec::Key::relevance || sort.ascending;
        return scoreSortLocked(index, ids, bestFirst, query, limit);
    }
    return sortMatchesLocked(index, std::move(ids), sort, query, limit);
}

struct Answer {
    std::int64_t total;
    std::vector<EntryId> first;  ///< in order
};

Answer answerLocked(const FileIndex& index, const CompiledQuery& query, SortSpec sort, std::int64_t limit) {
    EntrySet matches = matchesLocked(index, query);
    if (query.wantsDuplicates) filterDuplicatesLocked(index, matches);
    const std::int64_t total = matches.count();
    return {total, orderedIdsLocked(index, query, matches, total, sort, limit)};
}

}  // namespace

EntrySet matchesLocked(const FileIndex& index, const CompiledQuery& query) {
    EntrySet matches = selectMatchesLocked(index, query);
    if (query.wantsEmptyFolders) {
        matches.forEach(allEntries(index), [&](EntryId id) {
            if (!isEmptyFolderLocked(index, id)) matches.erase(id);
        });
    }
    return matches;
}

QueryNeeds queryNeeds(const CompiledQuery& query, SortSpec sort) {
    bool usesAttributes = query.wantsContentDuplicates || sort.key == SortSpec::Key::size ||
                          sort.key == SortSpec::Key::modified;
    for (NodeIndex node = 0; node <= query.tree.root(); ++node) {
        usesAttributes = usesAttributes || std::holds_alternative<SizeFilter>(query.tree[node]) ||
                         std::holds_alternative<DateNode>(query.tree[node]);
    }
    return {.detail = usesAttributes ? ListingDetail::attributes : ListingDetail::namesAndTypes};
}

std::optional<std::vector<EntryId>> trigramCandidatesLocked(const FileIndex& index, const QueryTree& tree) {
    const TrigramIndex* trigram = index.trigramLocked();
    if (trigram == nullptr) return std::nullopt;
    const QueryNode& root = tree[tree.root()];
    if (const auto* similar = std::get_if<SimilarMatcher>(&root))
        return trigram->unionOf(similar->queryTrigrams());
    const auto* regex = std::get_if<RegexNode>(&root);
    if (regex == nullptr || regex->target != MatchTarget::name) return std::nullopt;
    return trigram->candidates(RegexLiterals::requiredTrigrams(regex->pattern, regex->caseSensitive));
}

bool isEmptyFolderLocked(const FileIndex& index, EntryId id) {
    const auto entries = index.entriesLocked();
    const FileEntry& entry = entries[static_cast<std::size_t>(id)];
    if (!entry.isFolder()) return false;
    const auto contents = index.contentsOfLocked(entry);
    if (!contents) return false;
    bool isEmpty = true;
    index.entriesByDirLocked().forEach(*contents, [&](EntryId child) {
        isEmpty = isEmpty && entries[static_cast<std::size_t>(child)].isTombstone();
    });
    return isEmpty;
}

SearchResult search(const FileIndex& index, std::string_view rawQuery, SortSpec sort, std::int64_t limit) {
    return search(index, QueryParser::parse(rawQuery), sort, limit);
}

SearchResult search(const FileIndex& index, const CompiledQuery& query, SortSpec sort, std::int64_t limit) {
    if (query.wantsContentDuplicates) return searchContentDuplicates(index, query, limit);
    return searchPage(index, query, sort, {.offset = 0, .count = std::max<std::int64_t>(limit, 0)});
}

SearchResult searchPage(const FileIndex& index, const CompiledQuery& query, SortSpec sort, ResultPage page) {
    const ReadGuard guard(index.rwlock);
    const Answer answer = answerLocked(index, query, sort, page.offset + page.count);
    const auto skipped = std::min(static_cast<std::size_t>(page.offset), answer.first.size());
    return {.rows = rowsLocked(index, std::span(answer.first).subspan(skipped)),
            .total = answer.total,
            .abandoned = query.tree.abandonedMatches()};
}

SearchCounts searchPaths(const FileIndex& index, const CompiledQuery& query, SortSpec sort,
                         std::int64_t limit, const std::function<void(std::string_view path)>& visit) {
    if (query.wantsContentDuplicates) {
        const SearchResult result = searchContentDuplicates(index, query, limit);
        for (const FileRow& row : result.rows)
            visit(joinPath(row.path, row.name));
        return {.total = result.total, .abandoned = result.abandoned};
    }
    const ReadGuard guard(index.rwlock);
    const Answer answer = answerLocked(index, query, sort, limit);
    FolderPaths folders(index.directoriesLocked());
    std::string path;
    for (const EntryId id : answer.first) {
        const FileEntry& entry = index.entriesLocked()[static_cast<std::size_t>(id)];
        path = folders.of(entry.dirIndex);
        if (!path.ends_with('/')) path += '/';
        visit(path += index.nameLocked(entry));
    }
    return {.total = answer.total, .abandoned = query.tree.abandonedMatches()};
}

}  // namespace dovra
