#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Base/Options.hpp"
#include "Servers/Tools/LineReader.hpp"
#include "Servers/Tools/MCPRequestHandler.hpp"
#include "Servers/Tools/RequestQueue.hpp"
#include "Services/IndexService.hpp"

namespace dovra {

/// The mode "--mcp".
struct MCPCLI {
    /// Serves the tools on standard input and output, until the input ends or nobody reads the output any
    /// more. Returns 0, or 2 for wrong usage.
    static int run(Arguments args);
};

namespace mcp {

/// The longest request. A longer line is skipped and answered by an error.
inline constexpr std::size_t mostRequestBytes = 100'000'000;
/// The longest reply with its line feed. Clients read a line as a whole.
inline constexpr std::size_t mostReplyBytes = std::size_t{8} * 1024 * 1024;

/// The most bytes of all lines that wait while another is answered.
inline constexpr std::size_t mostBytesAhead = std::size_t{1024} * 1024;

/// The message in a line; absent for a blank line.
std::optional<Message> messageOf(const LineReader::Line& line);

/// The text of the reply to a message, without a line feed; absent when the message gets no reply.
std::optional<std::string> replyText(MCPRequestHandler& handler, const Message& message,
                                     const Exchange& exchange = {});

/// The connection to a client. One thread reads, another writes.
struct Connection {
    /// Waits for input or its end, and returns whether either has come. Gives up after `patience` (never
    /// without one) and as soon as nobody reads the output.
    std::function<bool(std::optional<std::chrono::milliseconds> patience)> waitForInput;
    LineReader::Read read;
    /// Writes one line. False when that fails.
    std::function<bool(std::string_view)> write;
    /// Whether anybody reads the output. Does not wait.
    std::function<bool()> isRead;
};

/// Answers the lines one after another, until the input ends or the output cannot be written. It reads ahead,
/// so a call that the client cancels is stopped, or not begun, and gets no reply. Requests that came before
/// the end of the input are answered, however long that takes, unless nobody is left to read the answers.
void serve(IndexService& service, const Connection& connection);

}  // namespace mcp

}  // namespace dovra
