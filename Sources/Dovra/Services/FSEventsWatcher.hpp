#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "Platform/ChangeBatch.hpp"
#include "Platform/DispatchQueue.hpp"
#include "Platform/EventSource.hpp"
#include "Platform/EventStream.hpp"

namespace dovra {

/// Hands on the changes below one folder, in batches, on a queue of its own ("dovra.fsevents"): to `callback`
/// what changed, to `onMustRescan` that changes were lost, once for a batch and without the rest of it.
///
/// Armed before a scan and started after it, the watcher loses nothing that changes meanwhile. Its release
/// ends the stream; a callback that runs by then is finished first, and none follows. A callback may
/// release it. Any thread may use it.
class FSEventsWatcher {
public:
    /// Opens what the stream gets its changes from; null when there is nothing to watch.
    using OpenSource = std::function<std::unique_ptr<EventSource>()>;

    /// How long the changes that follow a first one are gathered.
    static constexpr std::chrono::milliseconds defaultLatency{1000};

    struct Callbacks {
        std::function<void(ChangeBatch)> callback;
        std::function<void()> onMustRescan;
    };

    FSEventsWatcher(const WatchOptions& options, Callbacks callbacks,
                    std::chrono::milliseconds latency = defaultLatency);
    FSEventsWatcher(OpenSource openSource, Callbacks callbacks,
                    std::chrono::milliseconds latency = defaultLatency);
    ~FSEventsWatcher();
    FSEventsWatcher(const FSEventsWatcher&) = delete;
    FSEventsWatcher& operator=(const FSEventsWatcher&) = delete;

    /// Begins to gather changes. False when no stream can be created: then there will be no changes. Does
    /// nothing more when called again.
    bool arm();

    /// Begins to call back, first with what was gathered; arms before if that was not done.
    bool start();

    /// Returns when all changes that were made before the call have been handed to the callbacks, without the
    /// latency, and these have returned. False when the deadline was reached before, or when it is not
    /// started. Not to be called from a callback.
    bool flush(std::chrono::milliseconds deadline);

    /// How the folder is watched, in a few words for a status line; empty when it is not.
    std::string coverage() const;

private:
    /// What the queue's work shares, so that work that comes late finds that the watcher is gone.
    struct Receiver;

    const OpenSource openSource_;
    const std::chrono::milliseconds latency_;
    const std::shared_ptr<Receiver> receiver_;
    DispatchQueue queue_;
    mutable std::mutex mutex_;  ///< guards what follows; not held while callbacks run
    std::shared_ptr<EventStream> stream_;
    bool isStarted_ = false;
};

}  // namespace dovra
