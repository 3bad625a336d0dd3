#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/ChangeFeed.hpp"

namespace dovra {

/// Turns what a feed tells of one folder into the two things that can follow: `callback` gets what changed,
/// `onMustRescan` is called when changes were lost, once for a batch and without the rest of it. Both are
/// called by `deliver`, on its caller's thread; never on their own. The release of the watcher ends the feed.
class FSEventsWatcher {
public:
    using OpenFeed = std::function<std::unique_ptr<ChangeFeed>()>;

    struct Callbacks {
        std::function<void(ChangeBatch)> callback;
        std::function<void()> onMustRescan;
    };

    FSEventsWatcher(OpenFeed open, Callbacks callbacks)
        : open_(std::move(open)), callbacks_(std::move(callbacks)) {}

    /// Begins to watch: every change from `isOpening` being false on is delivered one day. In place of what
    /// was watched before, when it is called again.
    void start() {
        feed_.reset();
        feed_ = open_();
    }

    /// Whether the feed is not as far as that it misses nothing.
    bool isOpening() const { return feed_ && feed_->state() == ChangeFeed::State::opening; }
    /// Whether there is no feed, and changes are not told at all.
    bool isRefused() const { return !feed_ || feed_->state() == ChangeFeed::State::refused; }

    /// Calls back with the changes that were made before this call and have not been delivered. False when
    /// they could not be told within the time: then they come with a later call.
    bool deliver(std::chrono::milliseconds patience) {
        if (isRefused()) return true;
        auto batch = feed_->take(patience);
        if (!batch) return false;
        if (batch->mustRescan) {
            callbacks_.onMustRescan();
        } else if (!batch->empty()) {
            callbacks_.callback(*std::move(batch));
        }
        return true;
    }

    /// Trees in which no change is told.
    std::vector<std::string> polledTrees() const {
        return feed_ ? feed_->polledTrees() : std::vector<std::string>();
    }

    /// How the folder is watched, in a few words for a status line.
    std::string coverage() const { return isRefused() ? "not watched" : feed_->coverage(); }

private:
    const OpenFeed open_;
    const Callbacks callbacks_;
    std::unique_ptr<ChangeFeed> feed_;
};

}  // namespace dovra
