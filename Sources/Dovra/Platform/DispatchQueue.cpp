#include "Platform/DispatchQueue.hpp"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/strand.hpp>
#include <future>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Base/Concurrency.hpp"
#include "Base/Print.hpp"
#include "Platform/Process.hpp"

namespace dovra {

namespace {

constexpr const char* idleName = "dovra.idle";

/// The threads of all queues of one priority. Each lower priority has threads of its own, because a thread
/// cannot take back a priority that it gave up.
class Pool {
public:
    Pool(std::size_t threadCount, void (*prepareThread)())
        : threadCount_(threadCount), prepareThread_(prepareThread) {}

    asio::io_context& context() { return context_; }

    void start() {
        std::call_once(started_, [this] {
            for (std::size_t i = 0; i < threadCount_; ++i)
                threads_.emplace_back([this] { run(); });
        });
    }

    /// Waits for running work, and drops what has not begun.
    void end() {
        context_.stop();
        threads_.clear();
    }

private:
    void run() {
        prepareThread_();
        setCurrentThreadName(idleName);
        context_.run();
    }

    std::size_t threadCount_;
    void (*prepareThread_)();
    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> keepsRunning_ = make_work_guard(context_);
    std::once_flag started_;
    std::vector<std::jthread> threads_;
};

/// All pools. The process owns them, and ends the threads of all before it destroys any: the last work of one
/// pool may hold queues of the others.
class Pools {
public:
    static Pool& of(QualityOfService quality) {
        static Pools all;
        if (quality == QualityOfService::utility) return all.utility_;
        return quality == QualityOfService::background ? all.background_ : all.usual_;
    }

    ~Pools() {
        usual_.end();
        utility_.end();
        background_.end();
    }
    Pools(const Pools&) = delete;
    Pools& operator=(const Pools&) = delete;

private:
    Pools() = default;

    // Work may wait long for files, so a machine with few processors gets more threads than processors.
    Pool usual_{std::max<std::size_t>(activeProcessorCount(), 4), [] {}};
    Pool utility_{2, lowerCurrentThreadPriority};
    Pool background_{1, makeCurrentThreadIdle};
};

}  // namespace

struct DispatchQueue::State {
    std::string label;
    Pool& pool;
    asio::strand<asio::io_context::executor_type> strand = asio::make_strand(pool.context());

    void run(const Work& work) const {
        setCurrentThreadName(label);
        work();
        setCurrentThreadName(idleName);
    }
};

DispatchQueue::DispatchQueue(std::string label, QualityOfService quality)
    : state_(new State{.label = std::move(label), .pool = Pools::of(quality)}) {}

DispatchQueue::~DispatchQueue() = default;

void DispatchQueue::async(Work work) {
    state_->pool.start();
    asio::post(state_->strand, [state = state_, work = std::move(work)] { state->run(work); });
}

void DispatchQueue::asyncAfter(std::chrono::steady_clock::duration delay, Work work) {
    state_->pool.start();
    const auto timer = std::make_shared<asio::steady_timer>(state_->strand, delay);
    timer->async_wait([state = state_, timer, work = std::move(work)](const asio::error_code& error) {
        if (!error) state->run(work);
    });
}

void DispatchQueue::sync(const Work& work) {
    if (state_->strand.running_in_this_thread()) fatalError("a queue waits for itself: " + state_->label);
    std::promise<void> done;
    async([&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

bool DispatchQueue::syncWithin(std::chrono::milliseconds patience) {
    const auto isDone = std::make_shared<std::promise<void>>();
    async([isDone] { isDone->set_value(); });
    return isDone->get_future().wait_for(patience) == std::future_status::ready;
}

}  // namespace dovra
