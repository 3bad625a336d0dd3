#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "Desktop/Windows/PreviewContent.hpp"
#include "Platform/DispatchQueue.hpp"
#include "Platform/MainQueue.hpp"

namespace dovra {

/// Loads the preview of what was asked for last. A request stops the one before and drops its answer. The
/// first is loaded at once; one that follows quickly, as while an arrow key is held, only when no other comes
/// for a moment. One load runs at a time, but for those that are stuck in reading from a disk that does not
/// answer: they are left behind, and the user is told. Main thread only.
class PreviewRequests : public std::enable_shared_from_this<PreviewRequests> {
public:
    using Load = std::function<PreviewContent(const std::stop_token&)>;

    /// Longer than the time between two repetitions of a held key.
    static constexpr std::chrono::milliseconds pause{60};

    /// Longer than any load takes from a disk that answers.
    static constexpr std::chrono::milliseconds patience{1000};
    /// With so many loads left behind no other is begun.
    static constexpr int mostStuck = 4;

    /// `loadAsync` runs work in the background, also beside earlier work that never ends. `show` takes the
    /// answers on the main thread.
    static std::shared_ptr<PreviewRequests> make(std::shared_ptr<MainQueue> mainQueue,
                                                 std::function<void(DispatchQueue::Work)> loadAsync,
                                                 std::function<void(PreviewContent)> show) {
        return std::shared_ptr<PreviewRequests>(
            new PreviewRequests(std::move(mainQueue), std::move(loadAsync), std::move(show)));
    }

    ~PreviewRequests() { stop_.request_stop(); }
    PreviewRequests(const PreviewRequests&) = delete;
    PreviewRequests& operator=(const PreviewRequests&) = delete;

    void ask(Load load);
    void cancel();

    /// Whether an answer is awaited.
    bool isWaiting() const { return isWaiting_; }

private:
    PreviewRequests(std::shared_ptr<MainQueue> mainQueue, std::function<void(DispatchQueue::Work)> loadAsync,
                    std::function<void(PreviewContent)> show)
        : mainQueue_(std::move(mainQueue)), loadAsync_(std::move(loadAsync)), show_(std::move(show)) {}

    void start(Load load);
    void startNext();
    void take(PreviewContent content, std::int64_t request);
    void leaveBehind();
    void showStuck();

    const std::shared_ptr<MainQueue> mainQueue_;
    const std::function<void(DispatchQueue::Work)> loadAsync_;
    const std::function<void(PreviewContent)> show_;
    std::int64_t request_ = 0;  ///< the number of the newest
    MainQueue::Time asked_ = MainQueue::Time::min();
    std::stop_source stop_;  ///< of the newest
    bool isWaiting_ = false;
    std::optional<std::int64_t> running_;  ///< the request that is being loaded, not left behind
    Load next_;                            ///< of the newest request, when another is being loaded
    int stuck_ = 0;                        ///< loads left behind that have not ended
};

}  // namespace dovra
