#include <chrono>
#include <deque>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Desktop/FakeWorkspace.hpp"
#include "Desktop/Model/SearchViewModel.hpp"
#include "Platform/MainQueue.hpp"
#include "Query/SearchEngine.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/OwnData.hpp"
#include "Support/WaitUntil.hpp"

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

    /// Runs a search that was handed over, by default the first one, and takes its answer.
    void runSearch(std::size_t which = 0) {
        const auto search = searches_.at(which);
        searches_.erase(searches_.begin() + static_cast<std::ptrdiff_t>(which));
        search();
        mainQueue_->run();
    }

    void settle() {
        do {
            pass(80ms);
            while (!searches_.empty())
                runSearch();
        } while (mainQueue_->run() != MainQueue::Time::max() || !searches_.empty());
    }

    void ask(const std::string& query) {
        model_->setQuery(query);
        settle();
    }

    void append(std::string_view name) {
        const WriteGuard guard(index_->rwlock);
        index_->appendEntryLocked({.name = name}, index_->internDirLocked("/d"));
    }

    void remove(EntryId id) {
        const WriteGuard guard(index_->rwlock);
        index_->tombstoneLocked(id);
    }

    std::vector<std::string> shown() const {
        std::vector<std::string> names;
        for (const FileRow& row : state_.rows)
            names.push_back((row.id == state_.selection ? ">" : "") + row.name);
        return names;
    }

    MainQueue::Time now_{1h};
    std::shared_ptr<MainQueue> mainQueue_ = std::make_shared<MainQueue>([] {}, [this] { return now_; });
    std::deque<DispatchQueue::Work> searches_;
    std::vector<std::string> opens_;
    test::FakeWorkspace workspace_;
    std::shared_ptr<FileIndex> index_ =
        test::makeIndex({"/d/", {"/d/a1", 30}, {"/d/a2", 10}, {"/d/a3", 20}, "/d/b", "/d/report"});
    std::shared_ptr<SearchViewModel> model_ = SearchViewModel::make(
        {.index = index_,
         .mainQueue = mainQueue_,
         .workspace = workspace_,
         .searchAsync = [this](DispatchQueue::Work work) { searches_.push_back(std::move(work)); },
         .recordOpen = [this](std::string_view path) { opens_.emplace_back(path); }});
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
    EXPECT_FALSE(state_.answered);
    runSearch();
    EXPECT_THAT(shown(), ElementsAre(">a1"));
    model_->setQuery("");
    EXPECT_THAT(state_.rows, SizeIs(1)) << "until the pause";
    pass(80ms);
    EXPECT_THAT(searches_, IsEmpty());
    EXPECT_THAT(shown(), IsEmpty());
    EXPECT_TRUE(!state_.selection && state_.totalMatches == 0);
}

TEST_F(SearchViewModelTest, ShowsOnlyTheNewestAnswerWhicheverComesFirst) {
    model_->setQuery("rprt");
    pass(80ms);
    model_->setQuery("b");
    runSearch();
    EXPECT_TRUE(state_.usedFuzzyFallback) << "the newest search, although the text has gone on";
    pass(80ms);
    for (const std::string query : {"rprt", "a"}) {
        model_->setQuery(query);
        pass(80ms);
    }
    ASSERT_THAT(searches_, SizeIs(3));
    runSearch(2);
    EXPECT_THAT(shown(), ElementsAre(">a1", "a2", "a3"));
    runSearch();
    runSearch();
    EXPECT_THAT(shown(), ElementsAre(">a1", "a2", "a3"));
    EXPECT_FALSE(state_.usedFuzzyFallback);
    // A model that is gone, and one without a query, take no answer.
    model_->setQuery("b");
    pass(80ms);
    model_->setQuery("");
    pass(80ms);
    runSearch();
    EXPECT_THAT(shown(), IsEmpty());
    model_->setQuery("b");
    pass(80ms);
    model_.reset();
    runSearch();
}

TEST_F(SearchViewModelTest, AsksAPlainQueryWithoutMatchesAgainAsAFuzzyOne) {
    struct Case {
        std::string query;
        std::vector<std::string> shown;
        bool isFuzzy = false;
    };
    for (const auto& [query, rows, isFuzzy] : {Case{"report", {">report"}},
                                               {"rpt", {">report"}, true},
                                               {"*.xyz", {}},
                                               {"rpt?", {}},
                                               {"zzzz", {}},
                                               {"fuzzy:rpt", {">report"}},
                                               {"a", {">a1", "a2", "a3"}}}) {
        ask(query);
        EXPECT_EQ(shown(), rows) << query;
        EXPECT_EQ(state_.usedFuzzyFallback, isFuzzy) << query;
        EXPECT_EQ(state_.totalMatches, std::ssize(rows)) << query;
    }
    for (const char* mark : {":", "|", "!", "<", ">", "*", "?", "\""})
        EXPECT_FALSE(SearchViewModel::isPlainQuery(std::string("a") + mark));
    EXPECT_TRUE(SearchViewModel::isPlainQuery("a b/.c"));
    for (const char* query :
         {"x FUZZY:a", "fz:", "Similar:", "sim:", "like:", "dupe:C", "dupe:bytes", "dupe:data"})
        EXPECT_TRUE(SearchViewModel::queryPrefersRelevance(query)) << query;
    EXPECT_FALSE(SearchViewModel::queryPrefersRelevance("dupe:name fuzzy"));
}

TEST_F(SearchViewModelTest, MovesTheSelectionWithinTheRowsAndKeepsItWhileItsFileIsThere) {
    model_->moveSelection(1);
    EXPECT_FALSE(state_.navigating || state_.selection);
    ask("a");
    for (const auto& [delta, row] : {std::pair{1, 1}, {5, 2}, {1, 2}, {-1, 1}, {-9, 0}}) {
        model_->moveSelection(delta);
        EXPECT_EQ(state_.selectedRow(), &state_.rows[static_cast<std::size_t>(row)]) << delta;
        EXPECT_TRUE(state_.navigating);
    }
    for (const auto& [delta, row] : {std::pair{-1, 2}, {1, 0}}) {
        model_->select(1000);
        EXPECT_EQ(model_->selectedFullPath(), std::nullopt);
        model_->moveSelection(delta);
        EXPECT_EQ(state_.selectedRow(), &state_.rows[static_cast<std::size_t>(row)]) << delta;
    }
    model_->moveSelection(1);
    append("a0");
    model_->onIndexUpdated();
    settle();
    EXPECT_THAT(shown(), ElementsAre("a0", "a1", ">a2", "a3"));
    EXPECT_EQ(model_->selectedFullPath(), "/d/a2");
    remove(*state_.selection);
    model_->onIndexUpdated();
    settle();
    EXPECT_THAT(shown(), ElementsAre(">a0", "a1", "a3"));
    ask("nothing at all");
    EXPECT_EQ(state_.selection, std::nullopt);
    EXPECT_FALSE(state_.navigating) << "an edit gives the space bar back to the text";
}

TEST_F(SearchViewModelTest, SortsByTheHeader) {
    model_->setSortOrder({.key = SortSpec::Key::size, .ascending = false});
    ask("a");
    EXPECT_THAT(shown(), ElementsAre(">a1", "a3", "a2"));
    model_->setSortOrder({.key = SortSpec::Key::relevance, .ascending = false});
    settle();
    EXPECT_THAT(shown(), ElementsAre("a3", "a2", ">a1"));
}

TEST_F(SearchViewModelTest, FillsInRowsWhileTheIndexGrows) {
    model_->onProgress(1, true);
    EXPECT_THAT(searches_, IsEmpty()) << "nothing is asked";
    ask("a");
    for (const auto& [time, searches] : {std::pair{750ms, 0}, {1ms, 1}, {700ms, 0}}) {
        pass(time);
        append("a");
        model_->onProgress(2, true);
        EXPECT_EQ(std::ssize(searches_), searches) << time.count();
        if (searches > 0) runSearch();
    }
    EXPECT_TRUE(state_.isIndexing && state_.indexedCount == 2);
    ask("fuzzy:a");
    pass(10s);
    model_->onProgress(3, true);
    EXPECT_THAT(searches_, IsEmpty()) << "the order would change all the time";
    model_->onProgress(3, false);
    EXPECT_THAT(searches_, SizeIs(1));
    settle();
    model_->onProgress(3, false);
    EXPECT_THAT(searches_, IsEmpty());
}

TEST_F(SearchViewModelTest, RefreshesNeitherOvertakeTheAnswerNorStartUnseen) {
    ask("a");
    model_->onIndexUpdated();
    for (int update = 0; update < 4; ++update) {
        pass(20ms);
        model_->onIndexUpdated();
    }
    ASSERT_THAT(searches_, SizeIs(1)) << "a stream of updates does not put the search off";
    append("a4");
    model_->onIndexUpdated();
    model_->onProgress(9, true);
    model_->onProgress(9, false);
    pass(1s);
    ASSERT_THAT(searches_, SizeIs(1));
    append("a5");
    model_->onIndexUpdated();
    runSearch();
    EXPECT_THAT(state_.rows, SizeIs(5)) << "answered although the index changed meanwhile";
    append("a6");
    settle();
    EXPECT_THAT(state_.rows, SizeIs(6)) << "and once more afterwards";
    model_->setShown(false);
    append("a7");
    model_->onIndexUpdated();
    pass(1h);
    EXPECT_THAT(searches_, IsEmpty());
    model_->setShown(true);
    settle();
    EXPECT_THAT(state_.rows, SizeIs(7));
}

TEST_F(SearchViewModelTest, OpensOnlyTheFileThatTheRowShows) {
    ask("a");
    const std::vector<FileRow> rows = state_.rows;
    for (const RowAction action :
         {RowAction::open, RowAction::reveal, RowAction::copyName, RowAction::copyPath})
        model_->perform(action, rows[1]);
    const auto asked = {"open /d/a2", "reveal /d/a2", "copy a2", "copy /d/a2"};
    EXPECT_THAT(workspace_.requests, testing::ElementsAreArray(asked));
    EXPECT_THAT(opens_, ElementsAre("/d/a2"));
    remove(rows[0].id);
    model_->open(rows[0]);
    EXPECT_EQ(state_.notice, "“a1” is not there any more");
    // A rebuilt index counts anew: the identifier belongs to another file.
    index_->replaceContents(test::makeIndex({"/e/", "/e/a1", "/e/a2", "/e/a3", "/e/b"})->takeContents());
    model_->open(rows[1]);
    EXPECT_EQ(state_.notice, "“a2” is not there any more");
    EXPECT_THAT(workspace_.requests, SizeIs(4));
    EXPECT_THAT(opens_, SizeIs(1));
    ask("a1");
    EXPECT_EQ(state_.notice, "");
    workspace_.failure = "no program opens\nit";
    model_->openSelection();
    EXPECT_EQ(workspace_.requests.back(), "open /e/a1");
    EXPECT_EQ(state_.notice, "no program opens\\nit");
}

TEST_F(SearchViewModelTest, OpensTheAnswerToWhatWasTypedUnlessTheUserGoesOn) {
    ask("a1");
    model_->setQuery("b");
    model_->openSelection();
    EXPECT_THAT(workspace_.requests, IsEmpty());
    settle();
    EXPECT_THAT(workspace_.requests, ElementsAre("open /d/b"));
    settle();
    for (const std::function<void()>& goOn : std::initializer_list<std::function<void()>>{
             [&] { model_->setQuery("a3"); }, [&] { model_->moveSelection(1); },
             [&] { model_->setShown(false); }}) {
        model_->setQuery(state_.answered == "a2" ? "a1" : "a2");
        model_->openSelection();
        goOn();
        settle();
        EXPECT_THAT(workspace_.requests, SizeIs(1));
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
            [&] { pass(std::chrono::milliseconds(random() % 100)); },
            [&] { pass(std::chrono::milliseconds(random() % 1000)); },
            [&] {
                if (!searches_.empty()) runSearch(random() % searches_.size());
            },
            [&] {
                if (!searches_.empty()) runSearch();
            },
            [&] { append(fmt::format("a{}", random() % 100)), model_->onIndexUpdated(); },
            [&] {
                if (state_.selection) remove(*state_.selection), model_->onIndexUpdated();
            },
            [&] { append("b"), model_->onProgress(1, random() % 2 == 0); },
            [&] { model_->moveSelection(static_cast<int>(random() % 5) - 2); },
            [&] { model_->setShown(random() % 2 == 0); },
        };
        for (int step = 0; step < 40; ++step)
            steps[random() % steps.size()]();
        model_->setShown(true);
        model_->onProgress(1, true);
        model_->onProgress(1, false);
        settle();
        const auto found = [&](const std::string& query, SortSpec sort) {
            return query.empty() ? SearchResult{} : search(*index_, query, sort, 5000);
        };
        SearchResult expected = found(state_.query, {});
        const bool isFuzzy = expected.total == 0 && state_.query == "rpt";
        if (isFuzzy) expected = found("fuzzy:rpt", {.key = SortSpec::Key::relevance});
        ASSERT_EQ(state_.rows, expected.rows);
        ASSERT_EQ(state_.totalMatches, expected.total);
        ASSERT_EQ(state_.usedFuzzyFallback, expected.total > 0 && isFuzzy);
        ASSERT_EQ(state_.selectedRow() == nullptr, state_.rows.empty());
    }
}

TEST(SearchViewModelOfServices, FollowsARealTree) {
    const test::OwnData data;
    const test::TemporaryTree tree;
    tree.write("found before");
    std::atomic<bool> isWoken = false;
    const auto mainQueue = std::make_shared<MainQueue>([&] { isWoken = true; });
    test::FakeWorkspace workspace;
    AppServices::Options options{.root = tree.path()};
    options.postToMain = [mainQueue](DispatchQueue::Work work) { mainQueue->async(std::move(work)); };
    const auto services = AppServices::make(std::move(options));
    const auto model = SearchViewModel::make(services, mainQueue, workspace);
    int changes = 0;
    model->addObserver([&] { ++changes; });
    auto next = MainQueue::Time::max();
    const auto comes = [&](std::size_t rows) {
        return test::waitUntil([&] {
            if (isWoken.exchange(false) || next <= MainQueue::Clock::now()) next = mainQueue->run();
            return model->state().rows.size() == rows;
        });
    };
    model->setQuery("found");
    services->start();
    EXPECT_TRUE(comes(1));
    tree.write("found later");
    EXPECT_TRUE(comes(2));
    EXPECT_GT(changes, 4);
    model->openSelection();
    EXPECT_THAT(workspace.requests, ElementsAre("open " + tree.path("found before")));
    EXPECT_GT(services->frecency().boost(tree.path("found before")), 0);
    model->cancelSearch();
    services->searchQueue().sync();
    services->close();
}

}  // namespace
}  // namespace dovra
