#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/ChangeFeed.hpp"

namespace dovra {

/// Hands the batches of one folder's feed to one of two functions: `callback` gets the changes,
/// `onMustRescan` is called once for a batch that lost changes, and the batch is dropped. Only `deliver`
/// calls them, on its caller's thread. The release of the watcher ends the feed.
class FSEventsWatcher {
public:
    using OpenFeed = std::function<std::unique_ptr<ChangeFeed>()>;

    struct Callbacks {
        std::function<void(ChangeBatch)> callback;
        std::function<void()> onMustRescan;
    };

    FSEventsWatcher(OpenFeed open, Callbacks callbacks)
        : open_(std::move(open)), callbacks_(std::move(callbacks)) {}

    /// Opens a feed, in place of the former one. Every change after `isOpening` has become false is delivered
    /// sooner or later.
    void start() {
        feed_.reset();
        feed_ = open_();
    }

    /// Whether the feed may still miss changes.
    bool isOpening() const { return feed_ && feed_->state() == ChangeFeed::State::opening; }
    /// Whether there is no feed, so that no change is reported.
    bool isRefused() const { return !feed_ || feed_->state() == ChangeFeed::State::refused; }

    /// Calls back with the undelivered changes that were made before this call. False when the feed could not
    /// hand them over within the time; they then come with a later call.
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

    /// Trees in which no change is reported.
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
