#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Desktop/Model/RowAction.hpp"
#include "Desktop/Model/SearchState.hpp"
#include "Desktop/Model/Workspace.hpp"
#include "Index/FileIndex.hpp"
#include "Platform/DispatchQueue.hpp"
#include "Platform/MainQueue.hpp"
#include "Services/AppServices.hpp"

namespace dovra {

/// The state behind the search panel, and the operations that change it. Edits become searches after a pause
/// in typing. Searches run on another queue; of their answers only that to the newest counts. A plain query
/// without a match is asked again as a fuzzy one.
///
/// All operations belong to the main thread, that of the main queue. Queued work holds the object weakly.
class SearchViewModel : public std::enable_shared_from_this<SearchViewModel> {
public:
    static constexpr std::int64_t displayLimit = 5000;
    static constexpr std::chrono::milliseconds debounceDelay{80};
    /// While the index grows, rows are refreshed no more often than this.
    static constexpr std::chrono::milliseconds refreshInterval{750};

    /// The world around the model.
    struct Environment {
        std::shared_ptr<const FileIndex> index;
        std::shared_ptr<MainQueue> mainQueue;
        Workspace& workspace;                                  ///< outlives the model
        std::function<void(DispatchQueue::Work)> searchAsync;  ///< hands work to the queue for searches
        std::function<void(std::string_view path)> recordOpen;
        std::stop_token closing = {};  ///< ends a running search too
    };

    static std::shared_ptr<SearchViewModel> make(Environment environment) {
        return std::shared_ptr<SearchViewModel>(new SearchViewModel(std::move(environment)));
    }

    /// A model of the services' index, which sets their callbacks. Made before they start; they call back on
    /// the main queue.
    static std::shared_ptr<SearchViewModel> make(const std::shared_ptr<AppServices>& services,
                                                 std::shared_ptr<MainQueue> mainQueue, Workspace& workspace);

    ~SearchViewModel() { cancelSearch(); }
    SearchViewModel(const SearchViewModel&) = delete;
    SearchViewModel& operator=(const SearchViewModel&) = delete;

    const SearchState& state() const { return state_; }

    /// Calls `willChange` before each change of the state. An observer looks at the state later, in work of
    /// its own on the main queue, and so once for the many changes of one answer.
    void addObserver(std::function<void()> willChange) { observers_.push_back(std::move(willChange)); }

    /// Takes a text typed into the field or chosen elsewhere, ends navigation and schedules a search.
    void setQuery(std::string query);

    /// Starts a search after `debounceDelay`, unless this is called again before.
    void scheduleSearch();

    /// Gives up the running search: its answer is dropped, and the queue of searches soon free.
    void cancelSearch();

    /// Takes an order from the table's header and schedules a search; any key but a column's means the name.
    void setSortOrder(SortSpec order);

    /// Moves the selection by so many rows, and stops at the first and the last one. Without a selection a
    /// move up selects the last row, any other the first.
    void moveSelection(std::int64_t delta);

    /// Selects the row that was clicked.
    void select(EntryId id);

    /// Asks the view to focus the search field.
    void requestSearchFocus(bool endsNavigating);

    /// The full path of the selected row.
    std::optional<std::string> selectedFullPath() const;

    /// Opens the row's file, and counts that for its rank. Nothing but a notice when it is not in the index
    /// any more.
    void open(const FileRow& row) { perform(RowAction::open, row); }
    void perform(RowAction action, const FileRow& row);

    /// Opens the selected row. While the rows still answer a former query, it is the row selected when they
    /// answer the present one, unless the user goes on before.
    void openSelection();

    /// Whether the panel is visible; it is at first. Meanwhile the rows follow the index; afterwards they are
    /// refreshed when it appears again.
    void setShown(bool isShown);

    /// The reports of the services.
    void onProgress(std::int64_t count, bool indexing);
    void onIndexUpdated();

    /// Whether the query sorts by a score or reads files, so that it is not repeated while the index grows.
    static bool queryPrefersRelevance(std::string_view query);
    /// Whether the query is text without operators and keys.
    static bool isPlainQuery(std::string_view query);

private:
    struct Question;
    struct Answer;

    explicit SearchViewModel(Environment environment) : environment_(std::move(environment)) {}

    template <typename T>
    void set(T SearchState::*field, T value);

    void runSearchNow();
    static Answer answer(const FileIndex& index, const Question& question);
    void apply(Answer answer, std::int64_t generation);
    SortSpec currentSortSpec() const;
    /// Whether a refresh must wait, because nobody sees it or a search is running.
    bool postponesRefresh();
    std::optional<std::string> livePath(const FileRow& row);
    Workspace::Failed noticing();

    const Environment environment_;
    SearchState state_;
    std::vector<std::function<void()>> observers_;

    std::int64_t debounce_ = 0;  ///< of the pending search; older ones are cancelled
    std::int64_t generation_ = 0;
    std::optional<MainQueue::Time> lastRowRefresh_;
    std::stop_source stop_;  ///< of the newest search
    bool isSearching_ = false;
    bool isShown_ = true;
    bool isStale_ = false;  ///< the index changed, and no search has followed
    bool opensAnswer_ = false;
};

}  // namespace dovra
