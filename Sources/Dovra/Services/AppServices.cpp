#include "Services/AppServices.hpp"

#include <algorithm>
#include <future>
#include <utility>

#include "Platform/EventStream.hpp"
#include "Platform/Volume.hpp"

namespace dovra {

std::shared_ptr<AppServices> AppServices::make(Options options) {
    return std::shared_ptr<AppServices>(new AppServices(std::move(options)));
}

AppServices::AppServices(Options options)
    : options_(std::move(options)),
      frecency_(std::make_shared<FrecencyStore>(FrecencyStore::defaultURL())),
      savedSearches_(SavedSearchStore::defaultURL()),
      usesTrigram_(options_.usesTrigram),
      live_(liveOptions()) {
    live_.index().setFrecency(frecency_);
}

AppServices::~AppServices() {
    stop_.request_stop();
}

LiveIndex::Options AppServices::liveOptions() {
    LiveIndex::Options live;
    live.root = options_.root;
    live.usesTrigram = options_.usesTrigram;
    live.openFeed = [this] { return openFeed(); };
    live.report = options_.report;
    live.onProgress = [this](std::int64_t count, bool stillScanning) {
        options_.postToMain([weak = weak_from_this(), count, stillScanning] {
            const auto self = weak.lock();
            if (self && self->onProgress) self->onProgress(count, stillScanning);
        });
    };
    live.onUpdated = [this] {
        options_.postToMain([weak = weak_from_this()] {
            const auto self = weak.lock();
            if (self && self->onIndexUpdated) self->onIndexUpdated();
        });
    };
    live.stop = stop_.get_token();
    return live;
}

std::unique_ptr<ChangeFeed> AppServices::openFeed() {
    WatchOptions watched;
    watched.root = options_.root;
    watched.mechanism = options_.mechanism;
    if (options_.root == "/") watched.allowedDevices = startupVolumeDevices;
    watched.entersFolder = [root = options_.root](std::string_view path) {
        return !isBelowSkippedFolder(path, root);
    };
    watched.report = options_.report;
    const auto open = [watched](const std::stop_token& stop) mutable {
        watched.stop = stop;
        return openEventSource(watched);
    };
    // The stream's thread must not hold this: as the last holder it would have to end itself. It ends before
    // this does.
    return std::make_unique<EventStream>(
        open, [this] { run(&LiveIndex::step); }, stop_.get_token());
}

void AppServices::run(std::function<void(LiveIndex&)> operation) {
    buildQueue_.async([weak = weak_from_this(), operation = std::move(operation)] {
        const auto self = weak.lock();
        if (!self || self->stop_.stop_requested()) return;
        operation(self->live_);
        while (auto task = self->live_.nextTask())
            self->runBeside(*std::move(task));
        self->publish();
        self->scheduleStep();
    });
}

void AppServices::runBeside(LiveIndex::Task task) {
    DispatchQueue& queue = task.kind == LiveIndex::Task::Kind::saving ? savingQueue_ : readingQueue_;
    queue.async([weak = weak_from_this(), work = std::move(task.run)] {
        const auto self = weak.lock();
        if (self) self->run([finish = work()](LiveIndex&) { finish(); });
    });
}

/// Copies the index's status to the readers on other threads, and calls back once it is ready.
void AppServices::publish() {
    bool isReady = live_.isWhole();
    {
        const MutexGuard guard(mutex_);
        isReady = isReady && rebuildsAsked_ == 0;
        status_ = {.isReady = isReady,
                   .isCompared = live_.isCompared(),
                   .coverage = live_.coverage(),
                   .lastRound = live_.lastRound()};
        statusChanged_.notify_all();
    }
    if (!isReady) return;
    if (const auto onReady = std::exchange(onReady_, {})) onReady();
}

void AppServices::scheduleStep() {
    const LiveIndex::Time next = live_.nextTime();
    if (next >= scheduledStep_) return;
    scheduledStep_ = next;
    const auto delay = std::max(next - LiveIndex::Clock::now(), LiveIndex::Clock::duration::zero());
    buildQueue_.asyncAfter(delay, [weak = weak_from_this(), next] {
        const auto self = weak.lock();
        if (!self) return;
        if (self->scheduledStep_ == next) self->scheduledStep_ = LiveIndex::Time::max();
        self->run(&LiveIndex::step);
    });
}

void AppServices::start(std::function<void()> onReady) {
    onReady_ = std::move(onReady);
    run(&LiveIndex::start);
}

void AppServices::rebuild() {
    build(&LiveIndex::rebuild);
}

bool AppServices::toggleTrigram() {
    bool isUsed = false;
    {
        const MutexGuard guard(mutex_);
        isUsed = usesTrigram_ = !usesTrigram_;
    }
    build([isUsed](LiveIndex& live) { live.useTrigram(isUsed); });
    return isUsed;
}

void AppServices::refreshSavedSearches(std::function<void()> refreshed) {
    refreshQueue_.async([weak = weak_from_this(), refreshed = std::move(refreshed)] {
        const auto self = weak.lock();
        if (!self) return;
        self->savedSearches_.refresh();
        self->options_.postToMain(refreshed);
    });
}

/// The index counts as not ready from this call on, although earlier work on the queue comes first.
void AppServices::build(std::function<void(LiveIndex&)> ask) {
    {
        const MutexGuard guard(mutex_);
        ++rebuildsAsked_;
        status_.isReady = false;
    }
    run([this, ask = std::move(ask)](LiveIndex& live) {
        {
            const MutexGuard guard(mutex_);
            --rebuildsAsked_;
        }
        ask(live);
        live.step();
    });
}

void AppServices::saveStores() {
    for (const auto& error : {frecency_->flush(), savedSearches_.flush()}) {
        if (error) options_.report(error->message);
    }
}

void AppServices::close() {
    stop_.request_stop();
    // First what waits for nobody.
    saveStores();
    // A running save ends soon, and must end before the last one begins.
    savingQueue_.sync();
    buildQueue_.sync([this] { live_.end(); });
}

bool AppServices::waitUntilReady(std::chrono::milliseconds deadline) {
    const MutexGuard guard(mutex_);
    return statusChanged_.wait_for(mutex_, deadline,
                                   [&]() DOVRA_REQUIRES(mutex_) { return status_.isReady; });
}

bool AppServices::flush(std::chrono::milliseconds deadline) {
    const auto end = LiveIndex::Clock::now() + deadline;
    const auto isDone = std::make_shared<std::promise<bool>>();
    run([this, isDone, end](LiveIndex& live) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - LiveIndex::Clock::now());
        const bool isInTime = left.count() > 0 && live.flush(left);
        // The flush may have led to a rebuild, which the caller's next question must see.
        publish();
        isDone->set_value(isInTime);
    });
    auto future = isDone->get_future();
    return future.wait_until(end) == std::future_status::ready && future.get();
}

IndexStatus AppServices::status() const {
    const MutexGuard guard(mutex_);
    return status_;
}

}  // namespace dovra
