#include "Servers/Http/SearchPage.hpp"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include "Base/PathText.hpp"
#include "Base/RelativeTime.hpp"
#include "Query/ContentDuplicates.hpp"
#include "Query/NameMarks.hpp"
#include "Query/SearchEngine.hpp"

namespace dovra {

namespace {

using Clock = std::chrono::steady_clock;

/// The changes of the last week, which people come back to most, without the files that programs keep in
/// hidden folders.
SearchParameters recentChanges(double now) {
    constexpr std::time_t week = 7 * 24 * 3600;
    constexpr std::int64_t fewRows = 20;
    const std::time_t since = static_cast<std::time_t>(now) - week;
    SearchParameters recent;
    recent.text = fmt::format("dm:>={:%Y-%m-%d} file: !/.", fmt::localtime(since));
    recent.sort = {.key = SortSpec::Key::modified, .ascending = false};
    recent.count = fewRows;
    return recent;
}

CompiledQuery compiledQuery(const SearchParameters& parameters) {
    CompiledQuery query = QueryParser::parse(parameters.query());
    return parameters.within.empty() ? query : narrowedToPath(std::move(query), parameters.within, true);
}

/// Shows the rows that a search found, in the requested order if they were not too many.
void showResult(const SearchResult& result, SearchPage& page) {
    page.total = result.total;
    page.isSorted = result.total <= FileIndex::sortCap;
    page.abandoned = result.abandoned;
    for (const FileRow& file : result.rows)
        page.rows.push_back({.file = file});
}

/// The part of the group that stands on the page; `before` counts the rows of the groups before it.
std::vector<FileRow> rowsOnPage(const DuplicateGroup& group, std::int64_t before,
                                const SearchParameters& shown) {
    const std::int64_t size = std::ssize(group.rows);
    const std::int64_t first = std::clamp<std::int64_t>(shown.offset - before, 0, size);
    const std::int64_t last = std::clamp<std::int64_t>(shown.offset + shown.count - before, first, size);
    return {group.rows.begin() + first, group.rows.begin() + last};
}

void searchDuplicates(const PageContext& context, const CompiledQuery& query, SearchPage& page) {
    const std::vector<DuplicateGroup> groups = findContentDuplicates(context.index, query);
    for (const DuplicateGroup& group : groups) {
        std::vector<FileRow> files = rowsOnPage(group, page.total, page.shown);
        if (!files.empty()) page.sets.push_back({page.rows.size(), group.rows.size(), group.sizeBytes});
        for (FileRow& file : files)
            page.rows.push_back({.file = std::move(file)});
        page.total += std::ssize(group.rows);
    }
    page.isSorted = false;
    page.abandoned = query.tree.abandonedMatches();
    page.duplicates = {.sets = groups.size(), .reclaimableBytes = DuplicateFinder::reclaimableBytes(groups)};
}

/// Whether the index alone decides what is found, and in which order: neither files nor the user's visits.
bool dependsOnIndexOnly(const CompiledQuery& query, const SearchParameters& shown) {
    return !query.prefersRelevance() && shown.sort.key != SortSpec::Key::relevance &&
           !query.tree.readsFiles();
}

void searchAnew(const PageContext& context, const std::string& key, SearchPage& page) {
    const SearchParameters& shown = page.shown;
    const std::uint64_t generation = context.index.generation();
    CompiledQuery query = compiledQuery(shown);
    query.stop = context.stop;
    if (query.wantsContentDuplicates) return searchDuplicates(context, query, page);
    const auto result = std::make_shared<const SearchResult>(
        searchPage(context.index, query, shown.sort, {.offset = shown.offset, .count = shown.count}));
    showResult(*result, page);
    page.isSorted = page.isSorted && !query.prefersRelevance();
    if (dependsOnIndexOnly(query, shown) && !context.stop.stop_requested())
        context.recent.keep(key, generation, result);
}

void findRows(const PageContext& context, SearchPage& page) {
    // Words like "today" mean another time on another day.
    const std::string key =
        page.shown.link() + localTime(context.now).substr(0, std::string_view("2024-01-05").size());
    if (const auto known = context.recent.find(key, context.index.generation())) {
        showResult(*known, page);
    } else {
        searchAnew(context, key, page);
    }
}

void addContents(const FolderUsage& usage, std::vector<SearchRow>& rows) {
    std::vector<std::string> paths;
    for (const SearchRow& row : rows) {
        if (row.file.isDir) paths.push_back(joinPath(row.file.path, row.file.name));
    }
    if (paths.empty()) return;
    const auto sums = usage.sumsOf(paths);
    auto sum = sums.begin();
    for (SearchRow& row : rows) {
        if (row.file.isDir) row.contents = *sum++;
    }
}

}  // namespace

SearchPage makeSearchPage(const PageContext& context, SearchParameters parameters) {
    const bool isStart = parameters.isEmpty() && !parameters.wantsJson;
    SearchPage page{.parameters = std::move(parameters), .index = context.state};
    page.shown = isStart ? recentChanges(context.now) : page.parameters;
    if (page.parameters.fault) return page;
    const auto start = Clock::now();
    findRows(context, page);
    page.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    if (!page.parameters.wantsJson || page.parameters.wantsSizes) addContents(context.usage, page.rows);
    if (!page.parameters.wantsJson && !isStart) {
        const std::vector<QueryNode> terms = QueryParser::positiveTerms(page.shown.query());
        for (SearchRow& row : page.rows)
            row.marks = nameMarks(terms, row.file.name);
    }
    return page;
}

bool readsFiles(const SearchParameters& parameters) {
    const CompiledQuery query = compiledQuery(parameters);
    return query.wantsContentDuplicates || query.tree.readsFiles();
}

}  // namespace dovra
