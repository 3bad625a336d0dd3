#include "Query/SearchEngine.hpp"

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "Base/Concurrency.hpp"
#include "Base/PathText.hpp"
#include "Base/TextNeedle.hpp"
#include "Index/EntrySet.hpp"
#include "Index/FileIndex.hpp"
#include "Index/FolderTable.hpp"
#include "Query/CandidateSource.hpp"
#include "Query/ContentDuplicates.hpp"
#include "Query/MatchOrder.hpp"
#include "Query/QueryProgram.hpp"
#include "Query/RegexLiterals.hpp"

namespace dovra {

namespace {

/// A smaller index is searched on the calling thread, because waking others would take longer: where a scan
/// in order decides, and where entries are tested one by one.
constexpr std::size_t parallelEntriesScanned = 400000;
constexpr std::size_t parallelEntriesTested = 50000;

/// Entries that one thread takes at a time: enough for a scan at full speed, and few enough to share the
/// work. Tests that read files take smaller pieces. Both are multiples of 64.
constexpr std::size_t entriesPerPiece = 16384;
constexpr std::size_t entriesPerSlowPiece = 64;

EntryRange allEntries(const FileIndex& index) {
    return {0, static_cast<EntryId>(index.entriesLocked().size())};
}

/// Erases the candidates that do not meet the query.
void testCandidates(const FileIndex& index, const QueryProgram& program, const RegexLimits& limits,
                    EntryRange range, const std::stop_token& stop, EntrySet& candidates) {
    candidates.erase(range, index.tombstonesLocked());
    if (program.acceptsAll()) return;
    EntryMatcher matcher(index, program, limits, stop);
    candidates.forEach(range, [&](EntryId id) {
        if (!matcher.matches(id)) candidates.erase(id);
    });
}

EntrySet matchAllLocked(const FileIndex& index) {
    EntrySet matches(index.entriesLocked().size());
    matches.insert(allEntries(index));
    matches.erase(allEntries(index), index.tombstonesLocked());
    return matches;
}

/// A search over one index, with the data that all its pieces share.
struct Scan {
    const FileIndex& index;
    const CandidateSource& source;
    const QueryProgram& program;
    const RegexLimits& limits;
    const std::stop_token& stop;

    void run(EntryRange range, EntrySet& matches) const {
        source.scan(range, matches);
        testCandidates(index, program, limits, range, stop, matches);
    }
};

void serialScanLocked(const Scan& scan, EntrySet& matches) {
    scan.run(allEntries(scan.index), matches);
}

void parallelScanLocked(const Scan& scan, std::size_t entriesEach, EntrySet& matches) {
    const auto run = [&](std::size_t first, std::size_t last) {
        scan.run({static_cast<EntryId>(first), static_cast<EntryId>(last)}, matches);
    };
    performInPieces(scan.index.entriesLocked().size(), entriesEach, run, scan.stop);
}

EntrySet scanLocked(const FileIndex& index, const CompiledQuery& query) {
    const CandidatePlan plan = planCandidates(index, query.tree);
    const QueryProgram program(query.tree, plan.provenNode);
    const RegexLimits limits(index, query.tree);
    const Scan scan{index, *plan.source, program, limits, query.stop};
    EntrySet matches(index.entriesLocked().size());
    const bool isLarge = index.entriesLocked().size() >=
                         (program.acceptsAll() ? parallelEntriesScanned : parallelEntriesTested);
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
    testCandidates(index, QueryProgram(query.tree), RegexLimits(index, query.tree), allEntries(index),
                   query.stop, matches);
    return matches;
}

struct HashedName {
    std::size_t hash;
    EntryId id;
};

/// Erases the names of one hash value that occur once. Equal hashes nearly always mean equal names, so the
/// names are compared only here.
void eraseUnique(const FileIndex& index, std::span<const HashedName> sameHash, EntrySet& matches) {
    if (sameHash.size() == 1) return matches.erase(sameHash.front().id);
    std::vector<std::pair<std::string, EntryId>> names;
    for (const HashedName& hashed : sameHash)
        names.emplace_back(lowercased(index.nameLocked(hashed.id)), hashed.id);
    std::ranges::sort(names);
    for (std::size_t i = 0; i < names.size(); ++i) {
        const bool likePrevious = i > 0 && names[i - 1].first == names[i].first;
        const bool likeNext = i + 1 < names.size() && names[i + 1].first == names[i].first;
        if (!likePrevious && !likeNext) matches.erase(names[i].second);
    }
}

/// Keeps the matches whose lower-cased name (Unicode, no locale) occurs at least twice among them, folders
/// included. The index's read lock is held.
void filterDuplicatesLocked(const FileIndex& index, EntrySet& matches) {
    std::vector<HashedName> names;
    const auto count = static_cast<EntryId>(index.entriesLocked().size());
    matches.forEach({0, count}, [&](EntryId id) {
        names.push_back({std::hash<std::string>{}(lowercased(index.nameLocked(id))), id});
    });
    std::ranges::sort(names, {}, &HashedName::hash);
    for (std::size_t begin = 0; begin < names.size();) {
        std::size_t end = begin + 1;
        while (end < names.size() && names[end].hash == names[begin].hash)
            ++end;
        eraseUnique(index, std::span(names).subspan(begin, end - begin), matches);
        begin = end;
    }
}

std::vector<EntryId> orderedIdsLocked(const FileIndex& index, const CompiledQuery& query,
                                      const EntrySet& matches, std::int64_t total, SortSpec sort,
                                      std::int64_t limit) {
    if (total > FileIndex::sortCap) return matches.firstIds(limit);
    std::vector<EntryId> ids = matches.firstIds(std::numeric_limits<std::int64_t>::max());
    if (query.prefersRelevance()) {
        // The direction of another key does not apply to scores.
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
