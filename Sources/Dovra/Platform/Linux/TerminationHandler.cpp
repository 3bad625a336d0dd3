#include "Platform/TerminationHandler.hpp"

#include <csignal>
#include <pthread.h>
#include <utility>

namespace dovra {

namespace {

sigset_t endingSignals() {
    sigset_t signals{};
    ::sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM})
        ::sigaddset(&signals, signal);
    return signals;
}

void endBy(int signal) {
    ::signal(signal, SIG_DFL);
    const sigset_t signals = endingSignals();
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
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
