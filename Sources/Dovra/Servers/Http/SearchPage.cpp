#include "Servers/Http/SearchPage.hpp"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <iterator>
#include <utility>

#include "Base/PathText.hpp"
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

void takeRows(SearchPage& page, std::vector<FileRow> files) {
    for (FileRow& file : files)
        page.rows.push_back({.file = std::move(file)});
}

void searchRows(const PageContext& context, const CompiledQuery& query, SearchPage& page) {
    const SearchParameters& shown = page.shown;
    SearchResult result =
        searchPage(context.index, query, shown.sort, {.offset = shown.offset, .count = shown.count});
    page.total = result.total;
    page.isSorted = result.total <= FileIndex::sortCap && !query.prefersRelevance();
    page.abandoned = result.abandoned;
    takeRows(page, std::move(result.rows));
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
        takeRows(page, std::move(files));
        page.total += std::ssize(group.rows);
    }
    page.isSorted = false;
    page.abandoned = query.tree.abandonedMatches();
    page.duplicates = {.sets = groups.size(), .reclaimableBytes = DuplicateFinder::reclaimableBytes(groups)};
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
    CompiledQuery query = compiledQuery(page.shown);
    query.stop = context.stop;
    const auto start = Clock::now();
    (query.wantsContentDuplicates ? searchDuplicates : searchRows)(context, query, page);
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
