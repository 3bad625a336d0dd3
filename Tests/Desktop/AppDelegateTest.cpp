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

namespace dovra {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Field;

/// A panel that is only visible or not, and a user who agrees to the proposed name, with spaces.
class FakeWindows : public AppWindows {
public:
    void showPanel() override { isVisible = true; }
    void hidePanel() override { isVisible = false; }
    bool isPanelVisible() const override { return isVisible; }
    void askForName(const SaveDialog& dialog, std::function<void(const std::string&)> save) override {
        proposed = dialog.name;
        save(" " + dialog.name + "\n");
    }
    void quit() override { hasQuit = true; }

    bool isVisible = false;
    bool hasQuit = false;
    std::string proposed;
};

class AppDelegateTest : public testing::Test {
protected:
    void TearDown() override { app_.terminate(); }

    void choose(MenuAction action, const std::string& object = {}) {
        app_.perform({.title = "x", .action = action, .object = object});
    }

    /// The lines of the submenu of saved searches: "-" for a separator, "()" around disabled ones.
    std::vector<std::string> savedLines() const {
        std::vector<std::string> lines;
        for (const MenuItem& item : savedSearchesMenu(app_.menuState()))
            lines.push_back(item.title.empty() ? "-" : item.isEnabled ? item.title : "(" + item.title + ")");
        return lines;
    }

    const test::OwnData data_;
    const test::TemporaryTree tree_;
    const std::shared_ptr<MainQueue> mainQueue_ = std::make_shared<MainQueue>([] {});
    const std::shared_ptr<AppServices> services_ = AppServices::make(
        {.root = tree_.path(),
         .postToMain = [queue = mainQueue_](DispatchQueue::Work work) { queue->async(std::move(work)); }});
    test::FakeWorkspace workspace_;
    FakeWindows windows_;
    const std::shared_ptr<SearchViewModel> model_ = SearchViewModel::make(services_, mainQueue_, workspace_);
    AppDelegate app_{services_, model_, windows_, false};
};

TEST_F(AppDelegateTest, LaunchesTogglesAndTakesTheRequestsOfFurtherStarts) {
    app_.launch({.query = "first", .toggles = true});
    EXPECT_TRUE(services_->waitUntilReady(1min));
    EXPECT_TRUE(windows_.isVisible) << "at every launch";
    EXPECT_EQ(model_->state().query, "first");
    app_.handle({.toggles = true});
    EXPECT_FALSE(windows_.isVisible);
    app_.handle({.toggles = true});
    EXPECT_TRUE(windows_.isVisible);
    for (const auto& [request, query] : {std::pair{LaunchRequest{}, "first"},
                                         {LaunchRequest{.query = "second", .toggles = true}, "second"}}) {
        windows_.hidePanel();
        app_.handle(request);
        EXPECT_TRUE(windows_.isVisible);
        EXPECT_EQ(model_->state().query, query);
    }
}

TEST_F(AppDelegateTest, MenuActionsReachTheServicesThePanelAndTheStore) {
    app_.launch({});
    ASSERT_TRUE(services_->waitUntilReady(1min));
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
    tree_.write("new");
    choose(MenuAction::rebuildIndex);
    ASSERT_TRUE(services_->waitUntilReady(1min));
    EXPECT_EQ(services_->index().itemCount(), 1);
    choose(MenuAction::quit);
    EXPECT_TRUE(windows_.hasQuit);
}

TEST_F(AppDelegateTest, SavesAppliesAndRemovesSearches) {
    model_->setQuery(" \n");
    choose(MenuAction::saveCurrentSearch);
    EXPECT_THAT(savedLines(), ElementsAre("(No Saved Searches)", "-", "(Save Current Search…)"));
    const std::string combined(39, 'a');
    model_->setQuery(" " + combined + "e\u0301 further\n");
    choose(MenuAction::saveCurrentSearch);
    EXPECT_EQ(windows_.proposed, combined + "e\u0301") << "forty characters";
    model_->setQuery("b\tc");
    choose(MenuAction::saveCurrentSearch);
    EXPECT_THAT(savedLines(), ElementsAre(combined + "e\u0301", "b\\tc", "-", "Remove Saved Search", "-",
                                          "Save Current Search…"));
    const auto menu = savedSearchesMenu(app_.menuState());
    EXPECT_EQ(menu[1].toolTip, "b\\tc");
    app_.perform(menu[0]);
    EXPECT_TRUE(windows_.isVisible);
    EXPECT_EQ(model_->state().query, combined + "e\u0301 further");
    app_.perform(menu[3].submenu[1]);
    EXPECT_THAT(services_->savedSearches().items(),
                ElementsAre(Field(&SavedSearch::name, combined + "e\u0301")));
    app_.terminate();
    EXPECT_THAT(SavedSearchStore(SavedSearchStore::defaultURL()).items(), testing::SizeIs(1));
}

TEST(StatusMenu, HasItsItemsInOrder) {
    std::vector<std::string> titles;
    for (const MenuItem& item : statusMenu({}))
        titles.push_back(item.title);
    EXPECT_THAT(titles,
                ElementsAre("Show Search  (Alt+Space)", "Find Duplicate Files", "Saved Searches", "",
                            "Rebuild Index", "Fast Regex & Similarity (more memory)", "", "Quit Dovra"));
}

}  // namespace
}  // namespace dovra
