#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "Services/LiveIndex.hpp"
#include "Support/FakeFeed.hpp"
#include "Support/FileFacts.hpp"
#include "Support/FreshScan.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/OwnData.hpp"
#include "Support/Privileges.hpp"
#include "Support/Stamps.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra::test {

/// A life that the test steps, with a clock and a feed of its own. Nothing happens on its own.
class LiveIndexLife : public testing::Test {
protected:
    using Kind = LiveIndex::Task::Kind;

    LiveIndexLife() {
        options_.root = root_;
        options_.openFeed = [this] { return std::make_unique<FakeFeed>(feed_); };
        options_.now = [this] {
            if (stopsBetween_) stop_.request_stop();
            return now_ += lookTakes_;
        };
        options_.isOnBattery = [this] { return isOnBattery_; };
        options_.report = [this](const std::string& message) { reports_.push_back(message); };
        options_.onUpdated = [this] { ++updates_; };
        options_.onProgress = [this](std::int64_t count, bool goesOn) {
            progress_.emplace_back(count, goesOn);
        };
    }

    void make() {
        stop_ = {};
        options_.stop = stop_.get_token();
        live_.emplace(options_);
    }

    /// Another life, from what the former one saved.
    void begin() {
        make();
        live_->start();
    }

    /// A life that has begun: with a saved cache, everything compared.
    void beAlive() {
        begin();
        pass(std::chrono::seconds(0));
        EXPECT_TRUE(live_->isCompared());
    }

    void end() {
        stop_.request_stop();
        live_->end();
    }

    /// A stop comes while the next step goes on.
    void stopInAStep() {
        stopsBetween_ = true;
        live_->step();
        live_->end();
        stopsBetween_ = false;
    }

    /// Time passes, and what is due is done.
    void pass(std::chrono::seconds time) {
        now_ += time;
        live_->step();
        runTasks();
    }

    /// Every task that is due now; which they were.
    std::vector<Kind> runTasks() {
        std::vector<Kind> kinds;
        while (auto task = live_->nextTask()) {
            task->run()();
            kinds.push_back(task->kind);
        }
        return kinds;
    }

    /// Somebody is served, and then a whole round goes by; what it found.
    std::int64_t findsOfARound() {
        const auto before = live_->lastRound();
        live_->flush(std::chrono::seconds(1));
        for (int i = 0; i < 1000 && live_->lastRound() == before; ++i)
            pass(std::chrono::minutes(1));
        EXPECT_NE(live_->lastRound(), before);
        return live_->lastRound() ? static_cast<std::int64_t>(live_->lastRound()->finds) : -1;
    }

    void write(const std::string& path, std::string_view bytes = {}) const {
        tree_.write("above/root/" + path, bytes);
    }

    void tell(const std::string& path) { feed_->waiting.addPath(path.empty() ? root_ : root_ + "/" + path); }

    /// A change in the root folder that the feed tells.
    void change(const std::string& name) {
        write(name);
        tell("");
    }

    /// Runs `body` as an ordinary user who may not enter a folder. False where that cannot be had.
    template <typename Body>
    bool withoutEntering(const std::string& folder, const Body& body) {
        namespace fs = std::filesystem;
        // The user changes, the group does not.
        fs::permissions(tree_.path(), fs::perms::group_exec, fs::perm_options::add);
        fs::permissions(folder, fs::perms::none);
        const auto user = std::make_unique<const OrdinaryUser>();
        if (user->isOrdinary()) body();
        return user->isOrdinary();
    }

    std::vector<std::string> differences(Compared compared = Compared::all) const {
        return differencesFromFreshScan(live_->index(), options_.root, compared);
    }
    bool has(const std::string& path) const { return idOf(live_->index(), root_ + "/" + path) >= 0; }

    std::string cachePath() const { return data_.cachePath(root_); }
    ino_t cacheInode() const { return statusOf(cachePath()).st_ino; }

    const OwnData data_;
    const TemporaryTree tree_;
    const std::string root_ = tree_.makeFolder("above/root");
    const std::shared_ptr<FakeChanges> feed_ = std::make_shared<FakeChanges>();
    LiveIndex::Time now_ = LiveIndex::Time(std::chrono::hours(100));
    LiveIndex::Clock::duration lookTakes_ = {};
    bool isOnBattery_ = false;
    std::vector<std::string> reports_;
    std::vector<std::pair<std::int64_t, bool>> progress_;
    int updates_ = 0;
    std::stop_source stop_;
    LiveIndex::Options options_;
    std::optional<LiveIndex> live_;

private:
    bool stopsBetween_ = false;
};

}  // namespace dovra::test
