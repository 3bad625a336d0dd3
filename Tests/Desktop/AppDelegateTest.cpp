#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Desktop/FakeWorkspace.hpp"
#include "Desktop/Model/AppDelegate.hpp"
#include "Support/OwnData.hpp"
#include "Support/WaitUntil.hpp"

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

/// A panel that is only visible or not, and a user who agrees to the proposed name, with spaces.
class FakeWindows : public AppWindows {
public:
    void showPanel() override { isVisible = true; }
    void hidePanel() override { isVisible = false; }
    bool isPanelVisible() const override { return isVisible; }
    void askForName(const SaveDialog& dialog, std::function<void(const std::string&)> save) override {
        save(" " + dialog.name + "\n");
    }
    void quit() override { hasQuit = true; }

    bool isVisible = false;
    bool hasQuit = false;
};

/// The titles: "-" for a separator, "()" around disabled items.
std::vector<std::string> lines(const std::vector<MenuItem>& menu) {
    std::vector<std::string> lines;
    for (const MenuItem& item : menu)
        lines.push_back(item.title.empty() ? "-" : item.isEnabled ? item.title : "(" + item.title + ")");
    return lines;
}

class AppDelegateTest : public testing::Test {
protected:
    void TearDown() override { app_.terminate(); }

    void choose(MenuAction action, const std::string& object = {}) {
        app_.perform({.title = "x", .action = action, .object = object});
    }

    const test::OwnData data_;
    const test::TemporaryTree tree_;
    std::atomic<bool> isWoken_ = false;
    const std::shared_ptr<MainQueue> mainQueue_ = std::make_shared<MainQueue>([this] { isWoken_ = true; });
    const std::shared_ptr<AppServices> services_ = AppServices::make(
        {.root = tree_.path(),
         .postToMain = [queue = mainQueue_](DispatchQueue::Work work) { queue->async(std::move(work)); }});
    test::FakeWorkspace workspace_;
    FakeWindows windows_;
    const std::shared_ptr<SearchViewModel> model_ = SearchViewModel::make(services_, mainQueue_, workspace_);
    AppDelegate app_{services_, model_, windows_, false};
};

TEST_F(AppDelegateTest, FindsFollowsAndOpensTheFilesOfARealTree) {
    const std::string before = tree_.write("found before");
    int changes = 0;
    model_->addObserver([&] { ++changes; });
    auto next = MainQueue::Time::max();
    const auto comes = [&](std::size_t rows) {
        return test::waitUntil([&] {
            if (isWoken_.exchange(false) || next <= MainQueue::Clock::now()) next = mainQueue_->run();
            return model_->state().rows.size() == rows;
        });
    };
    app_.launch({.query = "found"});
    EXPECT_TRUE(comes(1));
    tree_.write("found later");
    EXPECT_TRUE(comes(2));
    EXPECT_GT(changes, 4);
    model_->openSelection();
    EXPECT_THAT(workspace_.requests, ElementsAre("open " + before));
    EXPECT_GT(services_->frecency().boost(before), 0);
}

TEST_F(AppDelegateTest, LaunchesAndTakesTheRequestsOfFurtherStartsAndOfTheMenu) {
    app_.launch({.query = "first", .toggles = true});
    EXPECT_TRUE(windows_.isVisible) << "at every launch";
    app_.handle({.toggles = true});
    EXPECT_FALSE(windows_.isVisible);
    app_.handle({.isQuiet = true});
    EXPECT_FALSE(windows_.isVisible);
    for (const auto& [request, query] : {std::pair{LaunchRequest{}, "first"},
                                         {LaunchRequest{.toggles = true}, "first"},
                                         {LaunchRequest{.query = "second", .toggles = true}, "second"}}) {
        windows_.hidePanel();
        app_.handle(request);
        EXPECT_TRUE(windows_.isVisible);
        EXPECT_EQ(model_->state().query, query);
    }
    windows_.hidePanel();
    choose(MenuAction::findDuplicates);
    EXPECT_TRUE(windows_.isVisible);
    EXPECT_EQ(model_->state().query, "dupe:content");
    for (const bool isOn : {true, false}) {
        choose(MenuAction::toggleTrigram);
        ASSERT_TRUE(services_->waitUntilReady(1min));
        EXPECT_EQ(services_->index().hasTrigramIndex(), isOn);
        EXPECT_EQ(statusMenu(app_.menuState())[5].isChecked, isOn);
    }
    choose(MenuAction::quit);
    EXPECT_TRUE(windows_.hasQuit);
}

TEST_F(AppDelegateTest, SavesAppliesAndRemovesSearches) {
    model_->setQuery(" \n");
    choose(MenuAction::saveCurrentSearch);
    EXPECT_THAT(lines(savedSearchesMenu(app_.menuState())),
                ElementsAre("(No Saved Searches)", "-", "(Save Current Search…)"));
    const std::string fortyCharacters = std::string(39, 'a') + "e\u0301";
    for (const std::string& query : {" " + fortyCharacters + " further\n", std::string("b\tc")}) {
        model_->setQuery(query);
        choose(MenuAction::saveCurrentSearch);
    }
    const auto menu = savedSearchesMenu(app_.menuState());
    EXPECT_THAT(lines(menu), ElementsAre(fortyCharacters, "b\\tc", "-", "Remove Saved Search", "-",
                                         "Save Current Search…"));
    EXPECT_EQ(menu[1].toolTip, "b\\tc");
    app_.perform(menu[0]);
    EXPECT_TRUE(windows_.isVisible);
    EXPECT_EQ(model_->state().query, fortyCharacters + " further");
    app_.perform(menu[3].submenu[1]);
    EXPECT_THAT(services_->savedSearches().items(),
                ElementsAre(SavedSearch{fortyCharacters, fortyCharacters + " further"}));
}

TEST_F(AppDelegateTest, ReadsInTheBackgroundWhatOtherProcessesSave) {
    SavedSearchStore other(SavedSearchStore::defaultURL());
    other.save("theirs", "x");
    ASSERT_FALSE(other.flush());
    bool isRefreshed = false;
    EXPECT_THAT(app_.menuState().savedSearches, ElementsAre()) << "a menu waits for no file";
    app_.refreshMenuState([&] { isRefreshed = true; });
    EXPECT_TRUE(test::waitUntil([&] {
        mainQueue_->run();
        return isRefreshed;
    }));
    EXPECT_THAT(app_.menuState().savedSearches, ElementsAre(SavedSearch{"theirs", "x"}));
}

TEST(StatusMenu, HasItsItemsInOrder) {
    EXPECT_THAT(lines(statusMenu({})),
                ElementsAre("Show Search  (Alt+Space)", "Find Duplicate Files", "Saved Searches", "-",
                            "Rebuild Index", "Fast Regex & Similarity (more memory)", "-", "Quit Dovra"));
}

}  // namespace
}  // namespace dovra
