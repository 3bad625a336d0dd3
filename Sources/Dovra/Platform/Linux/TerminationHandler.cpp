#include "Platform/TerminationHandler.hpp"

#include <csignal>
#include <initializer_list>
#include <pthread.h>
#include <utility>

namespace dovra {

namespace {

sigset_t setOf(std::initializer_list<int> signals) {
    sigset_t set{};
    ::sigemptyset(&set);
    for (const int signal : signals)
        ::sigaddset(&set, signal);
    return set;
}

sigset_t endingSignals() {
    return setOf({SIGHUP, SIGINT, SIGTERM});
}

/// The others stay blocked: the one that is to wake this thread may have come meanwhile.
void endBy(int signal) {
    ::signal(signal, SIG_DFL);
    const sigset_t set = setOf({signal});
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    ::raise(signal);
}

}  // namespace

TerminationHandler::TerminationHandler(std::function<void()> finish) : finish_(std::move(finish)) {
    const sigset_t signals = endingSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    thread_ = std::thread([this] { waitForSignal(); });
}

TerminationHandler::~TerminationHandler() {
    isReleased_ = true;
    // Any of the signals that it waits for.
    ::pthread_kill(thread_.native_handle(), SIGHUP);
    thread_.join();
    const sigset_t signals = endingSignals();
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

void TerminationHandler::waitForSignal() {
    const sigset_t signals = endingSignals();
    int signal = 0;
    if (::sigwait(&signals, &signal) != 0 || isReleased_) return;
    finish_();
    endBy(signal);
}

}  // namespace dovra
