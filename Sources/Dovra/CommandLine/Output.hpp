#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Base/PeriodicCall.hpp"

namespace dovra {

/// What ends a printed path.
enum class PathTerminator : std::uint8_t { newline, nul };

/// Writes results to standard output in large pieces. On a terminal, names are made safe to look at;
/// elsewhere they are the raw bytes, so that what is piped can be opened. Used by one thread.
class PathOutput {
public:
    explicit PathOutput(PathTerminator terminator);

    void writePath(std::string_view path);

    /// Text that is not a path, as it is; styling and terminators are the caller's.
    void writeText(std::string_view text);

    /// A record without a path: an empty line, or a second terminator.
    void endSet() { writePath({}); }

    /// The path as it is printed, for what stands in the middle of a line.
    std::string shown(std::string_view path) const;

    /// Writes out what is left. False when anything could not be written, which `outputError` tells more of.
    [[nodiscard]] bool finish();

private:
    void flush();

    std::string buffer_;
    char terminator_;
    bool isForPerson_;
    bool isWritten_ = true;
};

/// One line on standard error that is rewritten in place while it lives, and gone afterwards; nothing where
/// that is not a terminal. Nobody else writes there meanwhile.
class ProgressLine {
public:
    /// `text` is called several times a second on a thread of this object's.
    explicit ProgressLine(std::function<std::string()> text);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

private:
    std::optional<PeriodicCall> rewriting_;
};

}  // namespace dovra
