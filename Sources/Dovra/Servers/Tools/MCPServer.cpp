#include "Servers/Tools/MCPServer.hpp"

#include <chrono>
#include <fmt/format.h>
#include <thread>
#include <utility>

#include "Base/Format.hpp"
#include "Base/Print.hpp"
#include "Base/Utf8.hpp"
#include "Platform/StandardStreams.hpp"
#include "Platform/TerminationHandler.hpp"
#include "Services/AppServices.hpp"
#include "Services/ServiceOptions.hpp"

namespace dovra {

namespace {

using namespace std::chrono_literals;
using ErrorCode = MCPRequestHandler::ErrorCode;

bool isToolContent(const JSONValue& reply) {
    const JSONValue* result = reply.object()->find("result");
    return result != nullptr && result->object() != nullptr && result->object()->find("content") != nullptr;
}

bool fits(const std::string& text) {
    return text.size() < mcp::mostReplyBytes;
}

JSONValue tooLongContent(std::size_t bytes) {
    constexpr bool isError = true;
    return MCPRequestHandler::toolContent(
        fmt::format(
            "The result is too long to be sent ({}). Narrow the query, or ask for less with a smaller "
            "limit.",
            byteCountText(bytes)),
        isError);
}

/// The text of the reply. A reply that is too long is replaced by one that says so.
std::string sendableText(const JSONValue& reply) {
    std::string text = reply.serializedString();
    if (fits(text)) return text;
    if (isToolContent(reply)) {
        const JSONValue& id = *reply.object()->find("id");
        text = MCPRequestHandler::result(id, tooLongContent(text.size())).serializedString();
        if (fits(text)) return text;
    }
    // The identifier, which every reply repeats, is too long itself.
    return MCPRequestHandler::error({}, ErrorCode::invalidRequest,
                                    "Invalid Request: its reply would be too long")
        .serializedString();
}

/// A thread that waits checks so often whether the client is still there.
constexpr auto glance = 50ms;

/// Waits for the first scan. Throws `ToolError` once a stop is requested.
void waitForIndex(IndexService& service, const std::stop_token& stop) {
    while (!service.waitUntilReady(glance)) {
        if (stop.stop_requested()) throw ToolError{"Nobody waits for the result any more."};
    }
}

/// Lets a tool see every change that was made before its call. A tool that only reports waits for the first
/// scan no longer than a quarter of a second.
void prepare(IndexService& service, const Tool& tool, const std::stop_token& stop) {
    constexpr auto shortScan = 250ms;
    if (tool.needsWholeIndex) {
        waitForIndex(service, stop);
    } else if (!service.waitUntilReady(shortScan)) {
        return;
    }
    (void)service.flush(2s);  // What is not in time is not in the answer.
    // The flush may have led to a rebuild, whose index is not whole yet.
    if (tool.needsWholeIndex) waitForIndex(service, stop);
}

MCPRequestHandler makeHandler(IndexService& service) {
    return MCPRequestHandler(
        {.index = service.index(),
         .serverName = "dovra",
         .serverVersion = "1.0.0",
         .statsProvider =
             [&service] {
                 return IndexStats{.count = service.index().itemCount(),
                                   .root = service.root(),
                                   .status = service.status()};
             }},
        [&service](const Tool& tool, const std::stop_token& stop) { prepare(service, tool, stop); });
}

/// The service of one client, from the first line to the last. The caller's thread reads, another answers.
class Session {
public:
    Session(IndexService& service, const mcp::Connection& connection)
        : handler_(makeHandler(service)), connection_(connection) {}

    void run() {
        const std::jthread answering([this] { answerAll(); });
        LineReader input([this](std::span<char> destination) { return read(destination); },
                         mcp::mostRequestBytes);
        while (auto line = input.next()) {
            lineBytes_ = 0;
            take(*line);
        }
        queue_.end();
        while (!queue_.waitUntilIdle(glance)) {
            if (!connection_.isRead()) queue_.abandon();
        }
    }

private:
    /// Reads the next bytes, 0 at the end and when nobody reads replies any more. While a request is
    /// answered, no more than `mostBytesAhead` are kept. In an idle moment a line of any length is read.
    std::size_t read(std::span<char> destination) {
        while (connection_.isRead()) {
            const RequestQueue::State state = queue_.state();
            if (state.isAbandoned) return 0;
            if (!state.isIdle && state.bytes + lineBytes_ >= mcp::mostBytesAhead) {
                queue_.waitUntilIdle(glance);
            } else if (connection_.waitForInput(state.isIdle ? std::nullopt : std::optional(glance))) {
                const std::size_t count = connection_.read(destination);
                lineBytes_ += count;
                return count;
            }
        }
        queue_.abandon();
        return 0;
    }

    void take(const LineReader::Line& line) {
        auto message = mcp::messageOf(line);
        if (!message) return;
        if (const JSONValue* id = MCPRequestHandler::cancelledId(message->value)) {
            queue_.cancel(
                [&](const Message& earlier) { return MCPRequestHandler::isCall(earlier.value, *id); });
        }
        queue_.push(*std::move(message), line.text.size());
    }

    void answerAll() {
        while (const RequestQueue::Entry* entry = queue_.take()) {
            const Exchange exchange{entry->stop.get_token(), [this](const JSONValue& notification) {
                                        connection_.write(notification.serializedString() + "\n");
                                    }};
            auto reply = mcp::replyText(handler_, entry->message, exchange);
            if (reply && !connection_.write(reply->append("\n"))) queue_.abandon();
        }
    }

    MCPRequestHandler handler_;
    const mcp::Connection& connection_;
    RequestQueue queue_;
    std::size_t lineBytes_ = 0;  ///< about what was read of the line that is not complete
};

void printBanner(const IndexService& service) {
    const TerminalStyle style(StandardStream::error);
    const std::string& root = service.root();
    printError("{} {}  ready · {} items · root {}\n", style.bold(style.accent("Dovra")),
               style.dim("MCP server"), groupedNumber(service.index().itemCount()),
               isTerminal(StandardStream::error) ? visibleText(root) : root);
}

int printServerHelp(std::span<const Option> table) {
    printOutput(
        "usage: dovra --mcp [options]\n\n"
        "Serves tools that search for files to an AI client, which starts this itself: one JSON-RPC message "
        "a\n"
        "line on standard input and output, by the Model Context Protocol. Ends with its input.\n\n"
        "Options:\n{}",
        optionsHelp(table));
    return 0;
}

}  // namespace

std::optional<Message> mcp::messageOf(const LineReader::Line& line) {
    const auto fault = [](ErrorCode code, std::string_view message) {
        return Message{MCPRequestHandler::error({}, code, message), true};
    };
    if (line.isTooLong)
        return fault(ErrorCode::invalidRequest,
                     fmt::format("Invalid Request: longer than {} bytes", mostRequestBytes));
    if (line.text.empty() || line.text == "\r") return std::nullopt;
    auto value = JSONValue::parse(line.text);
    return value ? Message{*std::move(value)} : fault(ErrorCode::parseError, "Parse error");
}

std::optional<std::string> mcp::replyText(MCPRequestHandler& handler, const Message& message,
                                          const Exchange& exchange) {
    if (message.isReply) return sendableText(message.value);
    const std::optional<JSONValue> reply = handler.handle(message.value, exchange);
    return reply ? std::optional(sendableText(*reply)) : std::nullopt;
}

void mcp::serve(IndexService& service, const Connection& connection) {
    Session(service, connection).run();
}

int MCPCLI::run(Arguments args) {
    ServiceOptions options;
    const std::vector<Option> table = serviceOptionTable(options);
    if (asksForHelp(args)) return printServerHelp(table);
    const ParsedArguments parsed = parseOptions(args, table);
    if (parsed.fault) return reportMisuse("--mcp", *parsed.fault);
    if (!parsed.others.empty()) return reportMisuse("--mcp", noSuchOption(parsed.others.front()));
    if (const auto fault = faultOf(options)) return reportMisuse("--mcp", *fault);
    // A client may close standard error. A closed standard output is noticed when a reply is written, and the
    // index is saved before the end.
    ignoreClosedPipes();
    const auto services = AppServices::make(serviceOptions(options));
    const TerminationHandler termination([&] { services->close(); });
    services->start([service = services.get()] { printBanner(*service); });
    mcp::serve(*services, {.waitForInput = waitForStandardInput,
                           .read = readStandardInput,
                           .write = writeStandardOutput,
                           .isRead = isStandardOutputRead});
    services->close();
    return 0;
}

}  // namespace dovra
