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
    /// Serves the tools on standard input and output until the input ends or nobody reads the output any
    /// more. 0, or 2 for wrong usage.
    static int run(Arguments args);
};

namespace mcp {

/// A longer line is passed over and answered by an error.
inline constexpr std::size_t mostRequestBytes = 100'000'000;
/// A reply, with its line feed, is no longer: clients read a line as a whole.
inline constexpr std::size_t mostReplyBytes = std::size_t{8} * 1024 * 1024;

/// Lines that wait while another is answered are read up to so many bytes together.
inline constexpr std::size_t mostBytesAhead = std::size_t{1024} * 1024;

/// What a line says; absent for one that says nothing.
std::optional<Message> messageOf(const LineReader::Line& line);

/// The text of the reply to a message, without a line feed; absent when there is no reply to give.
std::optional<std::string> replyText(MCPRequestHandler& handler, const Message& message,
                                     const Exchange& exchange = {});

/// The way to the client and back. Used by two threads: one reads and one writes.
struct Connection {
    /// Waits for input, no longer than that (for ever without) and only while the output is read; whether
    /// there is some, or its end.
    std::function<bool(std::optional<std::chrono::milliseconds> patience)> waitForInput;
    LineReader::Read read;
    /// Takes one line; false when it could not be written.
    std::function<bool(std::string_view)> write;
    /// Whether somebody is there to read the output. Does not wait.
    std::function<bool()> isRead;
};

/// Answers line by line, strictly in their order, until the input ends or the output cannot be written.
/// Meanwhile it reads ahead: a call that the client cancels is stopped, or not begun, and gets no reply. What
/// is asked before the input ends is answered, however long that takes, unless nobody is left to read it.
void serve(IndexService& service, const Connection& connection);

}  // namespace mcp

}  // namespace dovra
