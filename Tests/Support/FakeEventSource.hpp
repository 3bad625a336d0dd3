#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "Platform/ChangeSet.hpp"
#include "Platform/EventSource.hpp"

namespace dovra::test {

/// Changes that a test makes up, between it and the thread of a stream.
class FakeChanges {
public:
    void add(const std::string& path) {
        const std::scoped_lock lock(mutex_);
        waiting_.addPath(path);
        isAwake_ = true;
        changed_.notify_all();
    }
    void lose() {
        const std::scoped_lock lock(mutex_);
        waiting_.loseTrack();
        isAwake_ = true;
        changed_.notify_all();
    }
    void wake() {
        const std::scoped_lock lock(mutex_);
        isAwake_ = true;
        changed_.notify_all();
    }
    void wait(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, timeout, [&] { return isAwake_; });
        isAwake_ = false;
    }
    void moveTo(ChangeSet& taken) {
        const std::scoped_lock lock(mutex_);
        ChangeBatch batch = waiting_.take();
        if (batch.mustRescan) taken.loseTrack();
        for (std::string& path : batch.paths)
            taken.addPath(std::move(path));
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    ChangeSet waiting_;
    bool isAwake_ = false;
};

/// An event source whose changes a test makes up.
class FakeEventSource : public EventSource {
public:
    explicit FakeEventSource(std::shared_ptr<FakeChanges> changes) : changes_(std::move(changes)) {}

    void wait(std::chrono::milliseconds timeout) override { changes_->wait(timeout); }
    void wake() override { changes_->wake(); }
    void drain() override { changes_->moveTo(drained_); }
    bool hasChanges() const override { return !drained_.empty(); }
    std::optional<ChangeBatch> take(std::chrono::milliseconds) override {
        drain();
        return drained_.take();
    }
    std::vector<std::string> polledTrees() const override { return {}; }
    std::string coverage() const override { return "made up"; }

private:
    std::shared_ptr<FakeChanges> changes_;
    ChangeSet drained_;
};

}  // namespace dovra::test
