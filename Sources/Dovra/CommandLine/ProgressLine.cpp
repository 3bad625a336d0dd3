#include "CommandLine/ProgressLine.hpp"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <utility>

#include "Base/PrintError.hpp"
#include "Platform/Terminal.hpp"

namespace dovra {

namespace {

constexpr std::chrono::milliseconds betweenRewrites{100};

/// To the start of the line, and erase it.
constexpr const char* restart = "\r\x1b[K";

void rewriteUntilStopped(const std::stop_token& stop, const std::function<std::string()>& text) {
    std::mutex mutex;
    std::condition_variable_any stopped;
    std::unique_lock lock(mutex);
    do {
        printError("{}{}", restart, text());
    } while (!stopped.wait_for(lock, stop, betweenRewrites, [&] { return stop.stop_requested(); }));
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
