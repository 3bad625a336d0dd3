#include "Platform/TerminationHandler.hpp"

#include <csignal>
#include <pthread.h>
#include <utility>

namespace dovra {

namespace {

/// Wakes the thread at the handler's end. The other threads do not block this signal and the system then
/// drops it, so sending it from outside has no effect.
constexpr int release = SIGURG;

sigset_t setOf(const std::vector<int>& signals) {
    sigset_t set{};
    ::sigemptyset(&set);
    for (const int signal : signals)
        ::sigaddset(&set, signal);
    return set;
}

/// The signals that the thread waits for: its release, and the signals that would end the process now. A
/// signal that is ignored, as by "nohup", stays ignored.
std::vector<int> awaitedSignals() {
    sigset_t blocked{};
    ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    std::vector<int> signals{release};
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_DFL && ::sigismember(&blocked, signal) == 0) signals.push_back(signal);
    }
    return signals;
}

}  // namespace

TerminationHandler::TerminationHandler(std::function<void()> finish)
    : finish_(std::move(finish)), signals_(awaitedSignals()) {
    const sigset_t set = setOf(signals_);
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    thread_ = std::thread([this] { waitForSignal(); });
    const sigset_t threadsOwn = setOf({release});
    ::pthread_sigmask(SIG_UNBLOCK, &threadsOwn, nullptr);
}

TerminationHandler::~TerminationHandler() {
    ::pthread_kill(thread_.native_handle(), release);
    thread_.join();
    const sigset_t set = setOf(signals_);
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void TerminationHandler::waitForSignal() {
    const sigset_t set = setOf(signals_);
    int signal = 0;
    if (::sigwait(&set, &signal) != 0 || signal == release) return;
    // From now on a signal has its usual effect: finishing may take long, or never end.
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    finish_();
    ::raise(signal);
}

}  // namespace dovra
