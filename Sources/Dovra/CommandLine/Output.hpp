#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Base/PeriodicCall.hpp"

namespace dovra {

/// The byte that ends a printed path.
enum class PathTerminator : std::uint8_t { newline, nul };

/// Writes results to standard output in large pieces. Names are made safe to show on a terminal; elsewhere
/// they are the raw bytes, so that a program behind a pipe can open them. For one thread.
class PathOutput {
public:
    explicit PathOutput(PathTerminator terminator);

    void writePath(std::string_view path);

    /// Text other than a path, unchanged; styling and terminators are the caller's.
    void writeText(std::string_view text);

    /// A record without a path: an empty line, or a second terminator.
    void endSet() { writePath({}); }

    /// The path as it is printed, for use within a line.
    std::string shown(std::string_view path) const;

    /// Writes out the rest. False when anything could not be written; `outputError` tells the reason.
    [[nodiscard]] bool finish();

private:
    void flush();

    std::string buffer_;
    char terminator_;
    bool isForPerson_;
    bool isWritten_ = true;
};

/// One line on standard error, rewritten in place during the object's life and erased afterwards; nothing
/// where standard error is no terminal. Nothing else may be written there meanwhile.
class ProgressLine {
public:
    /// `text` is called several times a second on a thread of this object.
    explicit ProgressLine(std::function<std::string()> text);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

private:
    std::optional<PeriodicCall> rewriting_;
};

}  // namespace dovra
