#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/ChangeFeed.hpp"
#include "Platform/EventSource.hpp"

namespace dovra::test {

/// The next changes and states of feeds. A test keeps this object, while feeds come and go.
struct FakeChanges {
    ChangeFeed::State state = ChangeFeed::State::open;
    ChangeSet waiting = {};
    ChangeSet later = {};  ///< is reported only after the next taking
    bool isLate = false;   ///< the next taking is not in time
    std::vector<std::string> polledTrees = {};
    int feeds = 0;  ///< opened so far
};

/// A feed whose changes a test makes up, without a thread.
class FakeFeed final : public EventSource {
public:
    explicit FakeFeed(std::shared_ptr<FakeChanges> changes)
        : changes_(std::move(changes)), isRefused_(changes_->state == State::refused) {
        ++changes_->feeds;
    }

    /// A refused feed stays refused.
    State state() const override { return isRefused_ ? State::refused : changes_->state; }
    std::optional<ChangeBatch> take(std::chrono::milliseconds /*patience*/) override {
        if (std::exchange(changes_->isLate, false)) return std::nullopt;
        auto batch = changes_->waiting.take();
        changes_->waiting.add(changes_->later.take());
        return batch;
    }
    std::vector<std::string> polledTrees() const override { return changes_->polledTrees; }
    std::string coverage() const override { return "made up"; }

    void wait(std::chrono::milliseconds /*timeout*/) override {}
    void wake() override {}
    void drain() override {}
    bool hasChanges() const override { return !changes_->waiting.empty(); }

private:
    const std::shared_ptr<FakeChanges> changes_;
    const bool isRefused_;
};

}  // namespace dovra::test
