#include "CommandLine/ProgressLine.hpp"

#include <chrono>
#include <stop_token>
#include <utility>

#include "Base/Mutex.hpp"
#include "Base/PrintError.hpp"
#include "Platform/Terminal.hpp"

namespace dovra {

namespace {

constexpr std::chrono::milliseconds betweenRewrites{100};

/// To the start of the line, and erase it.
constexpr const char* restart = "\r\x1b[K";

/// Whether a stop is requested before the time has passed; returns as soon as it is.
bool isStoppedWithin(std::chrono::milliseconds time, const std::stop_token& stop) {
    Mutex mutex;
    ConditionVariable stopped;
    const MutexGuard lock(mutex);
    return stopped.wait_for(mutex, stop, time, [&] { return stop.stop_requested(); });
}

void rewriteUntilStopped(const std::stop_token& stop, const std::function<std::string()>& text) {
    do {
        printError("{}{}", restart, text());
    } while (!isStoppedWithin(betweenRewrites, stop));
    printError("{}", restart);
}

}  // namespace

ProgressLine::ProgressLine(std::function<std::string()> text) {
    if (!isTerminal(StandardStream::error)) return;
    thread_ = std::jthread(
        [text = std::move(text)](const std::stop_token& stop) { rewriteUntilStopped(stop, text); });
}

ProgressLine::~ProgressLine() = default;

}  // namespace dovra
