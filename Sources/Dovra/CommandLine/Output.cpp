#include "CommandLine/Output.hpp"

#include <chrono>
#include <utility>

#include "Base/Print.hpp"
#include "Base/Utf8.hpp"
#include "Platform/StandardStreams.hpp"

namespace dovra {

namespace {

constexpr std::size_t flushBytes = std::size_t{64} * 1024;

}  // namespace

PathOutput::PathOutput(PathTerminator terminator)
    : terminator_(terminator == PathTerminator::nul ? '\0' : '\n'),
      isForPerson_(terminator == PathTerminator::newline && isTerminal(StandardStream::output)) {}

void PathOutput::writePath(std::string_view path) {
    if (isForPerson_) {
        writeText(visibleText(path));
    } else {
        writeText(path);
    }
    writeText({&terminator_, 1});
}

void PathOutput::writeText(std::string_view text) {
    buffer_ += text;
    if (buffer_.size() >= flushBytes) flush();
}

std::string PathOutput::shown(std::string_view path) const {
    return isForPerson_ ? visibleText(path) : std::string(path);
}

void PathOutput::flush() {
    isWritten_ = writeOutput(buffer_);
    buffer_.clear();
}

bool PathOutput::finish() {
    if (!buffer_.empty()) flush();
    return isWritten_;
}

namespace {

constexpr std::chrono::milliseconds betweenRewrites{100};

/// Moves to the start of the line and erases it.
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
