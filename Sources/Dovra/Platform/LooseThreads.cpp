#include "Platform/LooseThreads.hpp"

#include <chrono>
#include <thread>
#include <utility>

#include "Base/Locks.hpp"
#include "Platform/Process.hpp"

namespace dovra {

struct LooseThreads::State {
    const std::string label;
    Mutex mutex = {};
    ConditionVariable ended = {};
    int running DOVRA_GUARDED_BY(mutex) = 0;

    void add(int count) {
        const MutexGuard guard(mutex);
        running += count;
        ended.notify_all();
    }
};

LooseThreads::LooseThreads(std::string label) : state_(new State{.label = std::move(label)}) {}

LooseThreads::~LooseThreads() {
    const MutexGuard guard(state_->mutex);
    state_->ended.wait_for(state_->mutex, std::chrono::milliseconds(500),
                           [this]() DOVRA_REQUIRES(state_->mutex) { return state_->running == 0; });
}

void LooseThreads::async(std::function<void()> work) {
    state_->add(1);
    std::thread([state = state_, work = std::move(work)]() mutable {
        setCurrentThreadName(state->label);
        work();
        work = {};
        state->add(-1);
    }).detach();
}

}  // namespace dovra
