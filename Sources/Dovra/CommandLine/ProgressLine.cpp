#include "CommandLine/ProgressLine.hpp"

#include <chrono>
#include <utility>

#include "Base/Print.hpp"
#include "Platform/Terminal.hpp"

namespace dovra {

namespace {

constexpr std::chrono::milliseconds betweenRewrites{100};

/// To the start of the line, and erase it.
constexpr const char* restart = "\r\x1b[K";

}  // namespace

ProgressLine::ProgressLine(std::function<std::string()> text) {
    if (!isTerminal(StandardStream::error)) return;
    rewriting_.emplace(betweenRewrites, [text = std::move(text)] { printError("{}{}", restart, text()); });
}

ProgressLine::~ProgressLine() {
    if (!rewriting_) return;
    rewriting_.reset();
    printError("{}", restart);
}

}  // namespace dovra
