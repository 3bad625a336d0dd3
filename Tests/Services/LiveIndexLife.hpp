#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "Services/FakeFeed.hpp"
#include "Services/LiveIndex.hpp"
#include "Support/FileFacts.hpp"
#include "Support/FreshScan.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/OwnData.hpp"
#include "Support/ScriptedTest.hpp"
#include "Support/Stamps.hpp"

namespace dovra::test {

/// A life that a script steps, with a clock and a feed of its own: nothing happens by itself. A change on the
/// disk is reported only if the script reports it.
class LiveIndexLife : public ScriptedTest {
protected:
    LiveIndexLife() : ScriptedTest("above/root") {
        options_.root = root_;
        options_.openFeed = [this] { return std::make_unique<FakeFeed>(feed_); };
        options_.now = [this] {
            if (stopsBetween_) stop_.request_stop();
            return now_ += lookTakes_;
        };
        options_.isOnBattery = [this] { return isOnBattery_; };
        options_.report = [this](const std::string& message) { reports_.push_back(message); };
        options_.onUpdated = [this] { ++updates_; };
        addWords();
    }

    const OwnData data_;
    const std::shared_ptr<FakeChanges> feed_ = std::make_shared<FakeChanges>();
    LiveIndex::Options options_;

private:
    void addWords();
    static std::chrono::seconds seconds(Rest number) { return std::chrono::seconds(std::stoi(number)); }

    void begin() {
        stop_ = {};
        options_.stop = stop_.get_token();
        live_.emplace(options_);
        live_->start();
    }
    /// Runs every task that is due now, a step between its two halves. Returns the last task's kind.
    std::string runTasks(Rest between) {
        std::string kind;
        while (auto task = live_->nextTask()) {
            const auto finish = task->run();
            if (!between.empty()) take(between);
            finish();
            kind = task->kind == LiveIndex::Task::Kind::saving ? "saving" : "reading";
        }
        return kind;
    }
    template <typename Condition>
    void passUntil(const Condition& holds, Rest time) {
        for (int i = 0; i < 1000 && !holds(); ++i)
            take("pass " + time);
        EXPECT_TRUE(holds());
    }
    std::vector<std::string> differences(Compared compared) const {
        return differencesFromFreshScan(live_->index(), options_.root, compared);
    }
    ino_t cache() const { return statusOf(data_.cachePath(root_)).st_ino; }

    const std::map<std::string, ChangeFeed::State> states_ = {{"opening", ChangeFeed::State::opening},
                                                              {"open", ChangeFeed::State::open},
                                                              {"refused", ChangeFeed::State::refused}};
    LiveIndex::Time now_ = LiveIndex::Time(std::chrono::hours(100));
    LiveIndex::Clock::duration lookTakes_ = {};
    bool isOnBattery_ = false;
    bool stopsBetween_ = false;
    std::deque<std::string> reports_;
    int updates_ = 0;
    ino_t savedCache_ = 0;
    std::uint64_t generation_ = 0;
    std::stop_source stop_;
    std::optional<LiveIndex> live_;
    std::deque<LiveIndex::Task> tasks_;
    std::deque<std::function<void()>> finishes_;
};

inline void LiveIndexLife::addWords() {
    words_.insert({
        // The feed and its reports.
        {"feed", [this](Rest state) { feed_->state = states_.at(state); }},
        {"tell", [this](Rest path) { feed_->waiting.addPath(placeOf(path)); }},
        {"tell-file", [this](Rest path) { feed_->waiting.addFile(placeOf(path)); }},
        {"tell-tree", [this](Rest path) { feed_->waiting.addSubtree(placeOf(path)); }},
        {"later",  // reported after the next taking
         [this](Rest step) {
             std::swap(feed_->waiting, feed_->later);
             take(step);
             std::swap(feed_->waiting, feed_->later);
         }},
        {"lose", [this](Rest) { feed_->waiting.loseTrack(); }},
        {"late", [this](Rest) { feed_->isLate = true; }},
        {"poll", [this](Rest path) { feed_->polledTrees = {placeOf(path)}; }},
        {"change",  // writes in the root folder, and reports it
         [this](Rest file) { run("write " + file + "; tell ."); }},
        // The life.
        {"save-interval", [this](Rest time) { options_.saveInterval = seconds(time); }},
        {"spare", [this](Rest tombstones) { options_.spareTombstones = std::stoi(tombstones); }},
        {"begin", [this](Rest) { begin(); }},
        {"live", [this](Rest) { run("begin; pass 0; answers whole"); }},
        {"cancel", [this](Rest) { stop_.request_stop(); }},
        {"end",
         [this](Rest) {
             stop_.request_stop();
             live_->end();
         }},
        {"stop-between", [this](Rest state) { stopsBetween_ = state == "on"; }},
        {"end-in-a-step", [this](Rest) { run("stop-between on; step; end; stop-between off"); }},
        {"step", [this](Rest) { live_->step(); }},
        {"rebuild", [this](Rest) { live_->rebuild(); }},
        {"wait", [this](Rest time) { now_ += seconds(time); }},
        {"pass",  // and does the work that is due
         [this](Rest time) {
             run("wait " + time + "; step");
             runTasks("");
         }},
        {"pass-a-round",  // makes a round worthwhile, and waits for its end
         [this](Rest) {
             live_->flush(std::chrono::seconds(1));
             passUntil([this, before = live_->lastRound()] { return live_->lastRound() != before; }, "60");
         }},
        {"catch-up", [this](Rest) { passUntil([this] { return live_->isCompared(); }, "1"); }},
        {"tasks-and", [this](Rest step) { runTasks(step); }},
        {"hold", [this](Rest) { tasks_.push_back(live_->nextTask().value()); }},  // a task that is due
        {"run",  // the task that was held first
         [this](Rest) {
             finishes_.push_back(tasks_.front().run());
             tasks_.pop_front();
         }},
        {"finish",  // the task that was run first
         [this](Rest) {
             finishes_.front()();
             finishes_.pop_front();
         }},
        // The surroundings.
        {"trust-stamps", [this](Rest) { trustStamps(live_->index()); }},
        {"battery", [this](Rest state) { isOnBattery_ = state == "on"; }},
        {"looks-take", [this](Rest time) { lookTakes_ = seconds(time); }},
        {"data", [this](Rest line) { EXPECT_TRUE(perform(data_.path(), line)); }},
        // Expectations.
        {"flush", [this](Rest) { EXPECT_TRUE(live_->flush(std::chrono::seconds(1))); }},
        {"flush-fails", [this](Rest) { EXPECT_FALSE(live_->flush(std::chrono::seconds(1))); }},
        {"answers",
         [this](Rest expected) {
             EXPECT_EQ(live_->isCompared() ? "whole" : live_->isWhole() ? "names" : "none", expected);
         }},
        {"same", [this](Rest) { EXPECT_THAT(differences(Compared::all), testing::IsEmpty()); }},
        {"same-names",
         [this](Rest) { EXPECT_THAT(differences(Compared::namesAndKinds), testing::IsEmpty()); }},
        {"differs",
         [this](Rest) { EXPECT_THAT(differences(Compared::all), testing::Not(testing::IsEmpty())); }},
        {"has", [this](Rest path) { EXPECT_GE(idOf(live_->index(), placeOf(path)), 0); }},
        {"lacks", [this](Rest path) { EXPECT_EQ(idOf(live_->index(), placeOf(path)), -1); }},
        {"items", [this](Rest count) { EXPECT_EQ(live_->index().itemCount(), std::stoi(count)); }},
        {"slots",  // deleted entries included
         [this](Rest count) { EXPECT_EQ(allPaths(live_->index()).size(), std::stoul(count)); }},
        {"generations",  // since the last such step
         [this](Rest count) {
             const auto before = std::exchange(generation_, live_->index().generation());
             EXPECT_EQ(generation_ - before, std::stoul(count));
         }},
        {"updates", [this](Rest count) { EXPECT_EQ(std::exchange(updates_, 0), std::stoi(count)); }},
        {"due", [this](Rest time) { EXPECT_EQ(live_->nextTime() - now_, seconds(time)); }},
        {"due-now", [this](Rest) { EXPECT_LE(live_->nextTime(), now_); }},
        {"no-task", [this](Rest) { EXPECT_FALSE(live_->nextTask()); }},
        {"tasks", [this](Rest lastKind) { EXPECT_EQ(runTasks(""), lastKind); }},
        {"no-round", [this](Rest) { EXPECT_FALSE(live_->lastRound()); }},
        {"finds",  // of the last round
         [this](Rest count) { EXPECT_EQ(live_->lastRound().value().finds, std::stoul(count)); }},
        {"saved", [this](Rest) { EXPECT_NE(std::exchange(savedCache_, cache()), cache()); }},
        {"not-saved", [this](Rest) { EXPECT_EQ(savedCache_, cache()); }},
        {"no-cache", [this](Rest) { EXPECT_EQ(savedCache_ = cache(), 0U); }},
        {"feeds", [this](Rest count) { EXPECT_EQ(feed_->feeds, std::stoi(count)); }},
        {"coverage", [this](Rest text) { EXPECT_EQ(live_->coverage(), text); }},
        {"reported",  // the next report
         [this](Rest text) {
             ASSERT_FALSE(reports_.empty());
             EXPECT_THAT(reports_.front(), testing::HasSubstr(text));
             reports_.pop_front();
         }},
        {"no-report", [this](Rest) { EXPECT_THAT(reports_, testing::IsEmpty()); }},
    });
}

}  // namespace dovra::test
