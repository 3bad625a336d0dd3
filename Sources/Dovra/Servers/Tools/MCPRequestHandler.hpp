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

/// A tool that is called with a longer text fails.
inline constexpr std::size_t mostArgumentBytes = 1'000'000;

/// How a request is answered.
struct Exchange {
    /// Once a stop is requested nobody waits for the reply any more.
    std::stop_token stop;
    /// Takes what the client is told before the reply, if anybody does.
    std::function<void(const JSONValue& notification)> notify;
};

/// Answers the requests of the Model Context Protocol (JSON-RPC 2.0), one at a time, on the caller's thread.
/// A fault of the protocol is answered by an error; a tool that fails gives a result that is marked as one.
/// What only later versions of the protocol know is told to those clients alone that asked for one of them.
class MCPRequestHandler {
public:
    enum class ErrorCode : std::int16_t {
        parseError = -32700,
        invalidRequest = -32600,
        methodNotFound = -32601,
        invalidParams = -32602,
    };

    /// `prepare`, if given, is called before a tool runs: it brings the index to the state that the tool
    /// needs.
    using Prepare = std::function<void(const Tool&, const std::stop_token&)>;
    explicit MCPRequestHandler(ToolContext context, Prepare prepare = {});

    /// The reply to a request; absent when there is none to give, as to a notification and to a call that was
    /// stopped.
    std::optional<JSONValue> handle(const JSONValue& request, const Exchange& exchange = {});

    /// The identifier of the request that a message says nobody waits for any more; null if it does not say
    /// so.
    static const JSONValue* cancelledId(const JSONValue& message);
    /// Whether a message calls a tool under that identifier. No other request takes long enough to be
    /// cancelled.
    static bool isCall(const JSONValue& message, const JSONValue& id);

    static JSONValue result(const JSONValue& id, JSONValue value);
    static JSONValue error(const JSONValue& id, ErrorCode code, std::string_view message);
    /// What a tool returned, or why it did not, as the content of a result; beside the text what it returned
    /// as an object, if it is one.
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
