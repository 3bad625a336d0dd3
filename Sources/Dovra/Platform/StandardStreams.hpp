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

/// Whether the stream leads to a terminal.
bool isTerminal(StandardStream stream);

/// Styles text for one of the standard streams, only on a terminal and only without `NO_COLOR` in the
/// environment.
class TerminalStyle {
public:
    explicit TerminalStyle(StandardStream stream);

    std::string bold(std::string_view text) const;
    /// In the colour of important text.
    std::string accent(std::string_view text) const;
    std::string dim(std::string_view text) const;

private:
    std::string styled(std::string_view escape, std::string_view text) const;

    bool isOn_;
};

/// Reserves the numbers of standard streams that were closed at the program's start. Otherwise files opened
/// later would get these numbers, and be read and written in place of the streams. Using such a stream fails
/// as before. Called before any file is opened.
void occupyStandardStreams();

/// From now on a write to a pipe or socket without a reader fails, instead of ending the program by a signal.
void ignoreClosedPipes();

/// From now on a write beyond this process's limit of file sizes (`ulimit -f`) fails, on standard output or
/// elsewhere, instead of ending the program by a signal.
void ignoreFileSizeSignal();

/// Waits until standard input can be read without waiting, at most for `patience` (without one, for ever),
/// and only while standard output has a reader. Returns whether input can be read.
bool waitForStandardInput(std::optional<std::chrono::milliseconds> patience);

/// Waits for bytes on standard input and reads up to the size of `destination`. Returns the number of bytes;
/// 0 at the end of input, and after an error.
std::size_t readStandardInput(std::span<char> destination);

/// Writes to standard output, unbuffered, in one piece if the system allows. False without a reader, or after
/// another error. (Without `ignoreClosedPipes` a closed pipe ends the program.)
bool writeStandardOutput(std::string_view bytes);

/// Whether standard output has a reader: false once the other end of its pipe, socket or terminal is closed.
/// Does not wait. A file or a device always counts as read.
bool isStandardOutputRead();

}  // namespace dovra
