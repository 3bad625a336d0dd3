#include <chrono>
#include <deque>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Desktop/FakeWorkspace.hpp"
#include "Desktop/Model/SearchViewModel.hpp"
#include "Platform/MainQueue.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// A model whose queues and clock the test drives.
class SearchViewModelTest : public testing::Test {
protected:
    void pass(std::chrono::milliseconds time) {
        now_ += time;
        mainQueue_->run();
    }

    /// Runs a search that was handed over, if there is one.
    void search(std::size_t which = 0) {
        if (which >= searches_.size()) return;
        const auto work = searches_[which];
        searches_.erase(searches_.begin() + static_cast<std::ptrdiff_t>(which));
        work();
    }

    /// Takes its answer too.
    void runSearch(std::size_t which = 0) {
        search(which);
        mainQueue_->run();
    }

    void settle() {
        do {
            pass(80ms);
            while (!searches_.empty())
                runSearch();
        } while (mainQueue_->run() != MainQueue::Time::max() || !searches_.empty());
    }

    void startSearch(const std::string& query) {
        model_->setQuery(query);
        pass(80ms);
    }

    void ask(const std::string& query) {
        model_->setQuery(query);
        settle();
    }

    void append(std::string_view name) {
        const WriteGuard guard(index_->rwlock);
        index_->appendEntryLocked({.name = name}, index_->internDirLocked("/d"));
        model_->onIndexUpdated();
    }

    void removeSelected() {
        const WriteGuard guard(index_->rwlock);
        if (state_.selection) index_->tombstoneLocked(*state_.selection);
        model_->onIndexUpdated();
    }

    std::vector<std::string> shown() const {
        std::vector<std::string> names;
        for (const FileRow& row : state_.rows)
            names.push_back((row.id == state_.selection ? ">" : "") + row.name);
        return names;
    }

    MainQueue::Time now_{1h};
    int wakes_ = 0;
    std::shared_ptr<MainQueue> mainQueue_ =
        std::make_shared<MainQueue>([this] { ++wakes_; }, [this] { return now_; });
    std::deque<DispatchQueue::Work> searches_;
    std::vector<std::string> opens_;
    std::stop_source closing_;
    test::FakeWorkspace workspace_;
    std::shared_ptr<FileIndex> index_ =
        test::makeIndex({"/d/", {"/d/a1", 30}, {"/d/a2", 10}, {"/d/a3", 20}, "/d/b", "/d/report"});
    std::shared_ptr<SearchViewModel> model_ = SearchViewModel::make(
        {.index = index_,
         .mainQueue = mainQueue_,
         .workspace = workspace_,
         .searchAsync = [this](DispatchQueue::Work work) { searches_.push_back(std::move(work)); },
         .recordOpen = [this](std::string_view path) { opens_.emplace_back(path); },
         .closing = closing_.get_token()});
    const SearchState& state_ = model_->state();
};

TEST_F(SearchViewModelTest, SearchesOncePerPauseInTyping) {
    for (const char* text : {"a", "a ", "a 1", "a1"}) {
        model_->setQuery(text);
        pass(79ms);
    }
    EXPECT_THAT(searches_, IsEmpty());
    pass(1ms);
    ASSERT_THAT(searches_, SizeIs(1));
    runSearch();
    EXPECT_THAT(shown(), ElementsAre(">a1"));
    startSearch("");
    EXPECT_THAT(searches_, IsEmpty());
    EXPECT_THAT(shown(), IsEmpty());
    EXPECT_EQ(state_.totalMatches, 0);
}

TEST_F(SearchViewModelTest, ShowsOnlyTheNewestAnswerWhicheverComesFirst) {
    startSearch("rpt");
    model_->setQuery("b");
    runSearch();
    EXPECT_TRUE(state_.usedFuzzyFallback) << "the newest search, although the text has gone on";
    pass(80ms);
    model_->setQuery("rpt");
    now_ += 80ms;
    runSearch();
    EXPECT_TRUE(state_.usedFuzzyFallback) << "the answer to b was on its way when rpt was asked";
    startSearch("a");
    for (const std::size_t which : {1U, 0U}) {
        runSearch(which);
        EXPECT_THAT(shown(), ElementsAre(">a1", "a2", "a3"));
    }
    startSearch("b");
    startSearch("");
    const int wakes = wakes_;
    search();
    EXPECT_EQ(wakes_, wakes) << "nobody waits for that answer";
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(SearchViewModelTest, SearchesNoMoreWhenTheServicesClose) {
    startSearch("a");
    closing_.request_stop();
    runSearch();
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(SearchViewModelTest, AsksAPlainQueryWithoutMatchesAgainAsAFuzzyOne) {
    for (const char* query : {"report", "rpt", "*.xyz", "rpt|zz", "zzzz", "fuzzy:rpt"}) {
        ask(query);
        EXPECT_EQ(state_.usedFuzzyFallback, query == std::string("rpt")) << query;
        const bool isFound = query == std::string("report") || std::string_view(query).ends_with("rpt");
        EXPECT_EQ(state_.totalMatches, isFound) << query;
    }
    for (const char mark : std::string_view(":|!<>*?\""))
        EXPECT_FALSE(SearchViewModel::isPlainQuery(std::string("a") + mark));
    EXPECT_TRUE(SearchViewModel::isPlainQuery("a b/.c"));
    for (const char* query :
         {"x FUZZY:a", "fz:", "similar:", "Sim:", "like:", "dupe:C", "dupe:bytes", "dupe:data"})
        EXPECT_TRUE(SearchViewModel::queryPrefersRelevance(query)) << query;
    EXPECT_FALSE(SearchViewModel::queryPrefersRelevance("dupe:name fuzzy"));
}

TEST_F(SearchViewModelTest, MovesTheSelectionWithinTheRowsAndKeepsItWhileItsFileIsThere) {
    model_->setSortOrder({.key = SortSpec::Key::size, .ascending = false});
    ask("a");
    EXPECT_THAT(shown(), ElementsAre(">a1", "a3", "a2"));
    model_->setSortOrder({.key = SortSpec::Key::relevance});
    append("0b");
    ask("b");
    EXPECT_THAT(shown(), ElementsAre(">0b", "b")) << "by name";
    ask("a");
    constexpr EntryId none = 1000;
    for (const auto& [start, delta, name] : {std::tuple{none, -1, "a3"},
                                             {none, 1, "a1"},
                                             {none, 0, "a1"},
                                             {state_.rows[1].id, 5, "a3"},
                                             {state_.rows[1].id, -9, "a1"},
                                             {state_.rows[2].id, -1, "a2"}}) {
        model_->select(start);
        model_->moveSelection(delta);
        EXPECT_EQ(model_->selectedFullPath(), std::string("/d/") + name) << delta;
    }
    EXPECT_TRUE(state_.navigating);
    append("a0");
    settle();
    EXPECT_THAT(shown(), ElementsAre("a0", "a1", ">a2", "a3"));
    removeSelected();
    settle();
    EXPECT_THAT(shown(), ElementsAre(">a0", "a1", "a3"));
    ask("nothing at all");
    EXPECT_FALSE(state_.selection || state_.navigating) << "an edit gives the space bar back to the text";
}

TEST_F(SearchViewModelTest, FillsInRowsWhileTheIndexGrows) {
    model_->onProgress(1, true);
    ask("a");
    for (const auto& [time, searches] : {std::pair{750ms, 0}, {1ms, 1}, {700ms, 0}}) {
        pass(time);
        model_->onProgress(2, true);
        ASSERT_EQ(std::ssize(searches_), searches) << time.count();
        if (searches > 0) runSearch();
    }
    EXPECT_TRUE(state_.isIndexing && state_.indexedCount == 2);
    ask("fuzzy:a");
    pass(10s);
    for (const auto& [isIndexing, searches] : {std::pair{true, 0}, {false, 1}, {false, 0}}) {
        model_->onProgress(3, isIndexing);
        EXPECT_EQ(std::ssize(searches_), searches);
        settle();
    }
}

TEST_F(SearchViewModelTest, RefreshesNeitherOvertakeTheAnswerNorStartUnseen) {
    ask("a");
    for (int update = 0; update < 5; ++update) {
        model_->onIndexUpdated();
        pass(20ms);
    }
    ASSERT_THAT(searches_, SizeIs(1)) << "a stream of updates does not put the search off";
    pass(1s);
    append("a4");
    model_->onProgress(9, true);
    model_->onProgress(9, false);
    pass(1s);
    ASSERT_THAT(searches_, SizeIs(1));
    runSearch();
    EXPECT_THAT(state_.rows, SizeIs(4)) << "answered although the index changed meanwhile";
    append("a5");
    settle();
    EXPECT_THAT(state_.rows, SizeIs(5)) << "and once more afterwards";
    model_->setShown(false);
    append("a6");
    pass(1h);
    EXPECT_THAT(searches_, IsEmpty());
    model_->setShown(true);
    settle();
    EXPECT_THAT(state_.rows, SizeIs(6));
}

TEST_F(SearchViewModelTest, OpensOnlyTheFileThatTheRowShows) {
    ask("a");
    const std::vector<FileRow> rows = state_.rows;
    for (const RowActionItem& item : rowActionItems())
        model_->perform(item.action, rows[1]);
    EXPECT_THAT(workspace_.requests, ElementsAre("open /d/a2", "reveal /d/a2", "copy a2", "copy /d/a2"));
    removeSelected();
    model_->open(rows[0]);
    EXPECT_EQ(state_.notice, "“a1” is not there any more");
    // A rebuilt index counts anew: the identifier belongs to another file.
    index_->replaceContents(test::makeIndex({"/e/", "/e/a1", "/e/a2", "/e/a3", "/e/b"})->takeContents());
    model_->open(rows[1]);
    EXPECT_EQ(state_.notice, "“a2” is not there any more");
    EXPECT_THAT(workspace_.requests, SizeIs(4));
    EXPECT_THAT(opens_, ElementsAre("/d/a2"));
    ask("a1");
    EXPECT_EQ(state_.notice, "");
    workspace_.failure = "no program opens\nit";
    model_->openSelection();
    EXPECT_EQ(workspace_.requests.back(), "open /e/a1");
    EXPECT_EQ(state_.notice, "no program opens\\nit");
}

TEST_F(SearchViewModelTest, OpensTheAnswerToWhatWasTypedUnlessTheUserGoesOn) {
    ask("a1");
    for (const auto& goOn : std::vector<std::function<void()>>{[] {}, [&] { model_->setQuery("a3"); },
                                                               [&] { model_->moveSelection(1); },
                                                               [&] { model_->setShown(false); }}) {
        model_->setQuery(state_.answered == "b" ? "a2" : "b");
        model_->openSelection();
        goOn();
        settle();
        EXPECT_THAT(workspace_.requests, ElementsAre("open /d/b"));
    }
}

// Whatever comes in whatever order, the panel ends with the answer to the last query on the last index.
TEST_F(SearchViewModelTest, EndsWithTheRightRowsAfterAnyCourse) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const std::vector<std::string> queries = {"", "a", "b", "rpt", "fuzzy:a", "a*", "zz", "size:>15"};
        const std::vector<std::function<void()>> steps = {
            [&] { model_->setQuery(queries[random() % queries.size()]); },
            [&] { pass(std::chrono::milliseconds(random() % (random() % 2 == 0 ? 100 : 1000))); },
            [&] { search(random() % 3); },
            [&] { runSearch(); },
            [&] { append(fmt::format("a{}", random() % 100)); },
            [&] { removeSelected(); },
            [&] { model_->onProgress(1, random() % 2 == 0); },
            [&] { model_->moveSelection(static_cast<int>(random() % 5) - 2); },
            [&] { model_->setShown(random() % 2 == 0); },
            [&] { model_->cancelSearch(); },
        };
        for (int step = 0; step < 40; ++step)
            steps[random() % steps.size()]();
        model_->setShown(true);
        model_->onIndexUpdated();
        settle();
        const bool isFuzzy = state_.query == "rpt";
        const std::string text = (isFuzzy ? "fuzzy:" : "") + state_.query;
        const SearchResult expected = text.empty() ? SearchResult{} : dovra::search(*index_, text, {}, 5000);
        ASSERT_EQ(state_.rows, expected.rows);
        ASSERT_EQ(state_.totalMatches, expected.total);
        ASSERT_EQ(state_.usedFuzzyFallback, expected.total > 0 && isFuzzy);
        ASSERT_EQ(state_.selectedRow() == nullptr, state_.rows.empty());
    }
}

}  // namespace
}  // namespace dovra
