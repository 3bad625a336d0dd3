#include "Services/FSEventsWatcher.hpp"

#include <future>
#include <utility>

namespace dovra {

struct FSEventsWatcher::Receiver {
    explicit Receiver(Callbacks receivers) : callbacks(std::move(receivers)) {}

    void take(ChangeBatch batch) {
        const std::scoped_lock lock(mutex);
        if (!isListening) return;
        if (batch.mustRescan) {
            callbacks.onMustRescan();
        } else {
            callbacks.callback(std::move(batch));
        }
    }

    /// Held while a callback runs, which may release the watcher.
    std::recursive_mutex mutex;
    bool isListening = true;
    const Callbacks callbacks;
};

FSEventsWatcher::FSEventsWatcher(const WatchOptions& options, Callbacks callbacks,
                                 std::chrono::milliseconds latency)
    : FSEventsWatcher([options] { return openEventSource(options); }, std::move(callbacks), latency) {}

FSEventsWatcher::FSEventsWatcher(OpenSource openSource, Callbacks callbacks,
                                 std::chrono::milliseconds latency)
    : openSource_(std::move(openSource)),
      latency_(latency),
      receiver_(std::make_shared<Receiver>(std::move(callbacks))),
      queue_("dovra.fsevents", QualityOfService::userInitiated) {}

FSEventsWatcher::~FSEventsWatcher() {
    const std::scoped_lock lock(receiver_->mutex);
    receiver_->isListening = false;
}

bool FSEventsWatcher::arm() {
    const std::scoped_lock lock(mutex_);
    if (stream_) return true;
    if (auto source = openSource_()) stream_ = std::make_shared<EventStream>(std::move(source), latency_);
    return stream_ != nullptr;
}

bool FSEventsWatcher::start() {
    if (!arm()) return false;
    const std::scoped_lock lock(mutex_);
    if (std::exchange(isStarted_, true)) return true;
    stream_->goLive([this](ChangeBatch batch) {
        // The stream ends before the queue does.
        queue_.async(
            [receiver = receiver_, batch = std::move(batch)]() mutable { receiver->take(std::move(batch)); });
    });
    return true;
}

bool FSEventsWatcher::flush(std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    std::shared_ptr<EventStream> stream;
    {
        const std::scoped_lock lock(mutex_);
        if (!isStarted_) return false;
        stream = stream_;
    }
    if (!stream->flush(deadline)) return false;
    const auto handedOver = std::make_shared<std::promise<void>>();
    queue_.async([handedOver] { handedOver->set_value(); });
    return handedOver->get_future().wait_until(end) == std::future_status::ready;
}

std::string FSEventsWatcher::coverage() const {
    const std::scoped_lock lock(mutex_);
    return stream_ ? stream_->coverage() : std::string();
}

}  // namespace dovra
