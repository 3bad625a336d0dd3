#include "Desktop/Model/SearchViewModel.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <stop_token>

#include "Base/PathText.hpp"
#include "Base/ShownText.hpp"
#include "Base/TextNeedle.hpp"
#include "Query/SearchEngine.hpp"

namespace dovra {

struct SearchViewModel::Question {
    std::string query;
    SortSpec sort;
    std::stop_token stop;
};

struct SearchViewModel::Answer {
    std::string query;
    SearchResult result = {};
    bool isFuzzy = false;
};

std::shared_ptr<SearchViewModel> SearchViewModel::make(const std::shared_ptr<AppServices>& services,
                                                       std::shared_ptr<MainQueue> mainQueue,
                                                       Workspace& workspace) {
    auto model = make(Environment{
        // Keeps the services while a search runs.
        .index = {services, &services->index()},
        .mainQueue = std::move(mainQueue),
        .workspace = workspace,
        .searchAsync = [services = services.get()](
                           DispatchQueue::Work work) { services->searchQueue().async(std::move(work)); },
        .recordOpen = [services =
                           services.get()](std::string_view path) { services->frecency().recordOpen(path); },
        .closing = services->closing(),
    });
    const std::weak_ptr<SearchViewModel> weak = model;
    services->onProgress = [weak](std::int64_t count, bool stillScanning) {
        if (const auto self = weak.lock()) self->onProgress(count, stillScanning);
    };
    services->onIndexUpdated = [weak] {
        if (const auto self = weak.lock()) self->onIndexUpdated();
    };
    return model;
}

template <typename T>
void SearchViewModel::set(T SearchState::*field, T value) {
    if (state_.*field == value) return;
    for (const auto& willChange : observers_)
        willChange();
    state_.*field = std::move(value);
}

void SearchViewModel::setQuery(std::string query) {
    opensAnswer_ = false;
    set(&SearchState::query, std::move(query));
    set(&SearchState::navigating, false);
    set(&SearchState::notice, std::string());
    scheduleSearch();
}

void SearchViewModel::setSortOrder(SortSpec order) {
    set(&SearchState::sortOrder, order);
    scheduleSearch();
}

void SearchViewModel::scheduleSearch() {
    environment_.mainQueue->asyncAfter(debounceDelay, [weak = weak_from_this(), mine = ++debounce_] {
        const auto self = weak.lock();
        if (self && self->debounce_ == mine) self->runSearchNow();
    });
}

void SearchViewModel::cancelSearch() {
    ++generation_;
    isSearching_ = false;
    stop_.request_stop();
    stop_ = {};
}

void SearchViewModel::runSearchNow() {
    // A former search would hold up this one on the queue, for minutes if it reads files.
    cancelSearch();
    const std::int64_t mine = generation_;
    isStale_ = false;
    isSearching_ = !state_.query.empty();
    if (state_.query.empty()) {
        set(&SearchState::selection, {});
        set(&SearchState::rows, {});
        set(&SearchState::totalMatches, std::int64_t{0});
        set(&SearchState::usedFuzzyFallback, false);
        set(&SearchState::answered, std::optional<std::string>());
        return;
    }
    lastRowRefresh_ = environment_.mainQueue->now();
    environment_.searchAsync(
        [index = environment_.index, weak = weak_from_this(), mine, mainQueue = environment_.mainQueue,
         closing = environment_.closing, stop = stop_,
         question = Question{state_.query, currentSortSpec(), stop_.get_token()}]() mutable {
            const std::stop_callback ends(closing, [&stop] { stop.request_stop(); });
            auto found = std::make_shared<Answer>(answer(*index, question));
            if (question.stop.stop_requested()) return;
            mainQueue->async([weak, mine, found] {
                if (const auto self = weak.lock()) self->apply(std::move(*found), mine);
            });
        });
}

/// For the queue of searches.
SearchViewModel::Answer SearchViewModel::answer(const FileIndex& index, const Question& question) {
    const auto ask = [&](std::string_view text, SortSpec sort) {
        CompiledQuery query = QueryParser::parse(text);
        query.stop = question.stop;
        return search(index, query, sort, displayLimit);
    };
    Answer answer{.query = question.query};
    if (question.stop.stop_requested()) return answer;
    answer.result = ask(question.query, question.sort);
    if (answer.result.total > 0 || !isPlainQuery(question.query)) return answer;
    SearchResult fuzzy = ask("fuzzy:" + question.query, {.key = SortSpec::Key::relevance, .ascending = true});
    if (fuzzy.total > 0) {
        answer.result = std::move(fuzzy);
        answer.isFuzzy = true;
    }
    return answer;
}

void SearchViewModel::apply(Answer answer, std::int64_t generation) {
    if (generation != generation_) return;
    isSearching_ = false;
    SearchResult& result = answer.result;
    const auto isSelected = [&](const FileRow& row) { return row.id == state_.selection; };
    if (std::ranges::none_of(result.rows, isSelected)) set(&SearchState::selection, {});
    set(&SearchState::rows, std::move(result.rows));
    set(&SearchState::totalMatches, result.total);
    set(&SearchState::usedFuzzyFallback, answer.isFuzzy);
    set(&SearchState::answered, std::optional(std::move(answer.query)));
    set(&SearchState::abandoned, result.abandoned);
    if (!state_.selection && !state_.rows.empty()) select(state_.rows.front().id);
    if (opensAnswer_) openSelection();
    if (isStale_ && isShown_) scheduleSearch();
}

SortSpec SearchViewModel::currentSortSpec() const {
    SortSpec sort = state_.sortOrder;
    if (sort.key == SortSpec::Key::relevance) sort.key = SortSpec::Key::name;
    return sort;
}

bool SearchViewModel::postponesRefresh() {
    // Each search drops the answer to the one before. Refreshes that come faster than answers would leave the
    // user without any.
    if (isSearching_ || !isShown_) isStale_ = true;
    return isStale_;
}

void SearchViewModel::onProgress(std::int64_t count, bool indexing) {
    set(&SearchState::indexedCount, count);
    const bool wasIndexing = state_.isIndexing;
    set(&SearchState::isIndexing, indexing);
    if (indexing) {
        const bool isDue =
            !lastRowRefresh_ || environment_.mainQueue->now() - *lastRowRefresh_ > refreshInterval;
        if (state_.query.empty() || queryPrefersRelevance(state_.query) || !isDue) return;
    } else if (!wasIndexing) {
        return;
    }
    if (!postponesRefresh()) runSearchNow();
}

void SearchViewModel::onIndexUpdated() {
    if (postponesRefresh()) return;
    // Further updates must not put off this search.
    isStale_ = true;
    scheduleSearch();
}

void SearchViewModel::setShown(bool isShown) {
    isShown_ = isShown;
    if (!isShown) opensAnswer_ = false;
    if (isShown && isStale_ && !isSearching_) scheduleSearch();
}

void SearchViewModel::moveSelection(std::int64_t delta) {
    const std::vector<FileRow>& rows = state_.rows;
    if (rows.empty()) return;
    opensAnswer_ = false;
    const std::int64_t last = std::ssize(rows) - 1;
    std::int64_t next = delta < 0 ? last : 0;
    if (const FileRow* row = state_.selectedRow())
        next = std::clamp<std::int64_t>(row - rows.data() + delta, 0, last);
    set(&SearchState::navigating, true);
    select(rows[static_cast<std::size_t>(next)].id);
}

void SearchViewModel::select(EntryId id) {
    set(&SearchState::selection, std::optional(id));
}

void SearchViewModel::requestSearchFocus(bool endsNavigating) {
    if (endsNavigating) set(&SearchState::navigating, false);
    set(&SearchState::focusRequestToken, state_.focusRequestToken + 1);
}

std::optional<std::string> SearchViewModel::selectedFullPath() const {
    const FileRow* row = state_.selectedRow();
    return row == nullptr ? std::nullopt : std::optional(joinPath(row->path, row->name));
}

/// The row's full path. Absent when its entry is gone; a rebuilt index may have given its identifier to
/// another file.
std::optional<std::string> SearchViewModel::livePath(const FileRow& row) {
    auto path = environment_.index->fullPath(row.id);
    if (path == joinPath(row.path, row.name)) return path;
    set(&SearchState::notice, fmt::format("“{}” is not there any more", shownText(row.name)));
    return std::nullopt;
}

Workspace::Failed SearchViewModel::noticing() {
    return [weak = weak_from_this()](const std::string& message) {
        if (const auto self = weak.lock()) self->set(&SearchState::notice, shownText(message));
    };
}

void SearchViewModel::perform(RowAction action, const FileRow& row) {
    set(&SearchState::notice, std::string());
    Workspace& workspace = environment_.workspace;
    if (action == RowAction::copyName) {
        workspace.copy(row.name);
    } else if (action == RowAction::copyPath) {
        workspace.copy(joinPath(row.path, row.name));
    } else if (const auto path = livePath(row)) {
        if (action == RowAction::reveal) return workspace.reveal(*path, noticing());
        environment_.recordOpen(*path);
        workspace.open(*path, noticing());
    }
}

void SearchViewModel::openSelection() {
    opensAnswer_ = !state_.query.empty() && state_.answered != state_.query;
    if (opensAnswer_) return;
    // A copy, because an observer may bring other rows.
    if (const FileRow* row = state_.selectedRow()) open(FileRow(*row));
}

bool SearchViewModel::queryPrefersRelevance(std::string_view query) {
    constexpr std::array<std::string_view, 9> marks = {
        "fuzzy:", "fz:", "similar:", "sim:", "like:", "dupe:content", "dupe:c", "dupe:bytes", "dupe:data"};
    const std::string folded = lowercased(query);
    return std::ranges::any_of(marks,
                               [&](std::string_view mark) { return folded.find(mark) != std::string::npos; });
}

bool SearchViewModel::isPlainQuery(std::string_view query) {
    return !query.empty() && query.find_first_of(":|!<>*?\"") == std::string_view::npos;
}

}  // namespace dovra
