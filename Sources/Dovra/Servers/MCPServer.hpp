#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Base/Options.hpp"
#include "Servers/LineReader.hpp"
#include "Servers/MCPRequestHandler.hpp"
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

/// The text of the reply to one line, without a line feed; absent when there is no reply to give.
std::optional<std::string> replyText(const MCPRequestHandler& handler, const LineReader::Line& line);

/// Where replies go.
struct Output {
    /// Takes one reply; false when it could not be written.
    std::function<bool(std::string_view)> write;
    /// Whether somebody is there to read replies.
    std::function<bool()> isRead;
};

/// Answers line by line until the input ends or a reply cannot be written. What is asked before the input
/// ends is answered, however long that takes, unless nobody is left to read it.
void serve(IndexService& service, LineReader& input, const Output& output);

}  // namespace mcp

}  // namespace dovra
