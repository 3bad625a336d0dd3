#include "Platform/TerminationHandler.hpp"

#include <csignal>
#include <pthread.h>
#include <utility>

namespace dovra {

namespace {

sigset_t setOf(const std::vector<int>& signals) {
    sigset_t set{};
    ::sigemptyset(&set);
    for (const int signal : signals)
        ::sigaddset(&set, signal);
    return set;
}

/// Those that would end the process now: "nohup" has one ignored, for example, and so it stays.
std::vector<int> endingSignals() {
    sigset_t blocked{};
    ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    std::vector<int> signals;
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_DFL && ::sigismember(&blocked, signal) == 0) signals.push_back(signal);
    }
    return signals;
}

/// The others stay blocked: the one that is to wake this thread may have come meanwhile.
void endBy(int signal) {
    const sigset_t set = setOf({signal});
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    ::raise(signal);
}

}  // namespace

TerminationHandler::TerminationHandler(std::function<void()> finish)
    : finish_(std::move(finish)), signals_(endingSignals()) {
    const sigset_t set = setOf(signals_);
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    if (!signals_.empty()) thread_ = std::thread([this] { waitForSignal(); });
}

TerminationHandler::~TerminationHandler() {
    if (!thread_.joinable()) return;
    isReleased_ = true;
    // Any of the signals that it waits for.
    ::pthread_kill(thread_.native_handle(), signals_.front());
    thread_.join();
    const sigset_t set = setOf(signals_);
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void TerminationHandler::waitForSignal() {
    const sigset_t set = setOf(signals_);
    int signal = 0;
    if (::sigwait(&set, &signal) != 0 || isReleased_) return;
    finish_();
    endBy(signal);
}

}  // namespace dovra
