#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "Base/JSONValue.hpp"
#include "Servers/Tools/Tool.hpp"

namespace dovra {

/// The longest text that a tool takes as an argument.
inline constexpr std::size_t mostArgumentBytes = 1'000'000;

/// What the answer to one request needs of its client.
struct Exchange {
    /// A request to stop means that nobody waits for the reply any more.
    std::stop_token stop;
    /// Sends the client a notification before the reply; may be empty.
    std::function<void(const JSONValue& notification)> notify;
};

/// Answers the requests of the Model Context Protocol (JSON-RPC 2.0), one at a time, on the caller's thread.
/// A request against the protocol is answered by an error. A tool that fails gives a result that is marked as
/// an error. What a later version of the protocol added is sent only to clients that asked for that version.
class MCPRequestHandler {
public:
    enum class ErrorCode : std::int16_t {
        parseError = -32700,
        invalidRequest = -32600,
        methodNotFound = -32601,
        invalidParams = -32602,
    };

    /// Called before a tool runs, to bring the index to the state that the tool needs.
    using Prepare = std::function<void(const Tool&, const std::stop_token&)>;
    explicit MCPRequestHandler(ToolContext context, Prepare prepare = {});

    /// The reply to a request; absent for a notification and for a call that was stopped.
    std::optional<JSONValue> handle(const JSONValue& request, const Exchange& exchange = {});

    /// The identifier of the request that the message cancels; null if the message cancels none.
    static const JSONValue* cancelledId(const JSONValue& message);
    /// Whether the message is the call of a tool with that identifier. Other requests are too quick to be
    /// cancelled.
    static bool isCall(const JSONValue& message, const JSONValue& id);

    static JSONValue result(const JSONValue& id, JSONValue value);
    static JSONValue error(const JSONValue& id, ErrorCode code, std::string_view message);
    /// The result of a call: the text that the tool returned, or why it failed. `structured` is the returned
    /// object, or null.
    static JSONValue toolContent(std::string text, bool isError, JSONValue structured = {});

private:
    std::optional<JSONValue> answer(std::string_view method, const JSONValue& id, const JSONObject& params,
                                    const Exchange& exchange);
    JSONValue initialized(const JSONObject& params);
    JSONValue toolList() const;
    std::optional<JSONValue> calledTool(const JSONValue& id, const JSONObject& params,
                                        const Exchange& exchange) const;
    JSONValue contentOf(const Tool& tool, const JSONObject& params, const Exchange& exchange) const;
    decltype(ToolCall::report) reportTo(const Exchange& exchange, const JSONObject& params) const;
    bool clientKnows(std::string_view version) const { return clientVersion_ >= version; }

    ToolContext context_;
    Prepare prepare_;
    std::string clientVersion_;  ///< that the client asked for; empty when it did not, or for none of ours
};

}  // namespace dovra
