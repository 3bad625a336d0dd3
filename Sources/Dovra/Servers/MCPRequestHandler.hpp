#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Base/JSONValue.hpp"
#include "Servers/Tool.hpp"

namespace dovra {

/// A tool that is called with a longer text fails.
inline constexpr std::size_t mostArgumentBytes = 1'000'000;

/// Answers the requests of the Model Context Protocol (JSON-RPC 2.0), one at a time, on the caller's thread.
/// A fault of the protocol is answered by an error; a tool that fails gives a result that is marked as one.
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
    explicit MCPRequestHandler(ToolContext context, std::function<void(const Tool&)> prepare = {});

    /// The reply to a request; absent when there is none to give, as to a notification.
    std::optional<JSONValue> handle(const JSONValue& request) const;

    static JSONValue result(const JSONValue& id, JSONValue value);
    static JSONValue error(const JSONValue& id, ErrorCode code, std::string_view message);
    /// What a tool returned, or why it did not, as the content of a result.
    static JSONValue toolContent(std::string text, bool isError);

private:
    JSONValue answer(std::string_view method, const JSONValue& id, const JSONObject& params) const;
    JSONValue initialized(const JSONObject& params) const;
    JSONValue calledTool(const JSONValue& id, const JSONObject& params) const;
    JSONValue contentOf(const Tool& tool, const JSONObject& arguments) const;

    ToolContext context_;
    std::function<void(const Tool&)> prepare_;
};

}  // namespace dovra
