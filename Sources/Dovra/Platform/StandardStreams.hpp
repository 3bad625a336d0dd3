#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace dovra {

enum class StandardStream : std::uint8_t { output, error };

/// Whether the stream leads to a terminal, where a person reads it.
bool isTerminal(StandardStream stream);

/// Styles text for one of the standard streams: only when it leads to a terminal and the environment does not
/// say `NO_COLOR`.
class TerminalStyle {
public:
    explicit TerminalStyle(StandardStream stream);

    std::string bold(std::string_view text) const;
    /// In the colour that marks what matters.
    std::string accent(std::string_view text) const;
    std::string dim(std::string_view text) const;

private:
    std::string styled(std::string_view escape, std::string_view text) const;

    bool isOn_;
};

/// To be called before anything is opened: keeps the numbers of standard streams that were closed when the
/// program was started from going to files that it opens, which would then be read and written in their
/// place. Using such a stream fails as before.
void occupyStandardStreams();

/// From now on writing to a pipe or socket that nobody reads fails, instead of ending the program by a
/// signal.
void ignoreClosedPipes();

/// From now on writing beyond the size that files of this process may have (`ulimit -f`) fails, on standard
/// output or elsewhere, instead of ending the program by a signal.
void ignoreFileSizeSignal();

/// Waits until reading standard input would not wait, no longer than that (for ever without), and only while
/// what is written to standard output can reach somebody. Whether reading would not wait.
bool waitForStandardInput(std::optional<std::chrono::milliseconds> patience);

/// Waits for bytes on standard input and reads what is there, up to the size of `destination`. Returns how
/// many came; 0 at the end of input, and when it cannot be read.
std::size_t readStandardInput(std::span<char> destination);

/// Writes to standard output, unbuffered and in one piece as far as the system lets it. False when nobody
/// reads any more or writing fails otherwise. (Without `ignoreClosedPipes` a closed pipe ends the program.)
bool writeStandardOutput(std::string_view bytes);

/// Whether what is written to standard output can reach somebody: false as soon as the other end of its pipe,
/// socket or terminal has been closed. Does not wait. A file or a device always counts as read.
bool isStandardOutputRead();

}  // namespace dovra
