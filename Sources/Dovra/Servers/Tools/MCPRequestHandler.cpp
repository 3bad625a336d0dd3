#include "Servers/Tools/MCPRequestHandler.hpp"

#include <algorithm>
#include <chrono>
#include <exception>
#include <fmt/format.h>
#include <utility>

#include "Platform/PlatformWords.hpp"

namespace dovra {

namespace {

constexpr std::string_view protocolVersion = "2024-11-05";
/// The versions of the protocol that introduced something. Clients of older versions are not sent it.
constexpr std::string_view annotationsVersion = "2025-03-26";
constexpr std::string_view progressVersion = annotationsVersion;
constexpr std::string_view structuredVersion = "2025-06-18";

/// The place "{}" is for the computer's name.
constexpr const char* instructions =
    "Dovra is a fast, local, read-only file finder for this {}. It indexes filenames and paths (not "
    "contents) "
    "across the startup volume and answers in milliseconds; nothing leaves the machine. Use search_files for "
    "name/path search with a rich query language, find_duplicate_files for identical-content files, "
    "disk_usage "
    "for the largest folders, and index_stats to check readiness.";

const JSONObject noMembers;

/// The member if it is an object, else an empty object.
const JSONObject& objectMember(const JSONObject& object, std::string_view key) {
    const JSONValue* value = object.find(key);
    return value != nullptr && value->object() != nullptr ? *value->object() : noMembers;
}

/// The member if it is a string, else null.
const std::string* stringMember(const JSONObject& object, std::string_view key) {
    const JSONValue* value = object.find(key);
    return value != nullptr ? value->string() : nullptr;
}

/// A tool may need a hundred times the memory of a text that it is given.
void refuseLongTexts(const JSONObject& arguments) {
    for (const auto& [key, value] : arguments.members()) {
        if (value.string() != nullptr && value.string()->size() > mostArgumentBytes)
            throw ToolError{fmt::format("`{}` is longer than {} bytes.", key, mostArgumentBytes)};
    }
}

/// Whether the text is a date, as versions of the protocol are. Dates in this form compare as texts.
bool isDate(std::string_view text) {
    constexpr std::string_view form = "dddd-dd-dd";
    return std::ranges::equal(
        text, form, [](char c, char place) { return place == 'd' ? c >= '0' && c <= '9' : c == place; });
}

const JSONValue nothing;

/// The identifier of the request, or null.
const JSONValue& idOf(const JSONObject& request) {
    const JSONValue* id = request.find("id");
    return id != nullptr ? *id : nothing;
}

bool hasMethod(const JSONObject& message, std::string_view method) {
    const std::string* given = stringMember(message, "method");
    return given != nullptr && *given == method;
}

}  // namespace

MCPRequestHandler::MCPRequestHandler(ToolContext context, Prepare prepare)
    : context_(std::move(context)), prepare_(std::move(prepare)) {}

JSONValue MCPRequestHandler::result(const JSONValue& id, JSONValue value) {
    return JSONObject{{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(value)}};
}

JSONValue MCPRequestHandler::error(const JSONValue& id, ErrorCode code, std::string_view message) {
    return JSONObject{{"jsonrpc", "2.0"},
                      {"id", id},
                      {"error", JSONObject{{"code", static_cast<int>(code)}, {"message", message}}}};
}

JSONValue MCPRequestHandler::toolContent(std::string text, bool isError, JSONValue structured) {
    JSONValue::Array content;
    content.push_back(JSONObject{{"type", "text"}, {"text", std::move(text)}});
    std::vector<JSONObject::Member> members = {{"content", std::move(content)}, {"isError", isError}};
    if (structured.object() != nullptr) members.push_back({"structuredContent", std::move(structured)});
    return JSONObject(std::move(members));
}

const JSONValue* MCPRequestHandler::cancelledId(const JSONValue& message) {
    const JSONObject* members = message.object();
    if (members == nullptr || !hasMethod(*members, "notifications/cancelled")) return nullptr;
    return objectMember(*members, "params").find("requestId");
}

bool MCPRequestHandler::isCall(const JSONValue& message, const JSONValue& id) {
    const JSONObject* members = message.object();
    return members != nullptr && hasMethod(*members, "tools/call") && idOf(*members) == id;
}

std::optional<JSONValue> MCPRequestHandler::handle(const JSONValue& request, const Exchange& exchange) {
    const JSONObject* members = request.object();
    if (members == nullptr) return error({}, ErrorCode::invalidRequest, "Invalid Request: not an object");
    const JSONValue& id = idOf(*members);
    const std::string* method = stringMember(*members, "method");
    if (method == nullptr) return error(id, ErrorCode::invalidRequest, "Invalid Request: missing method");
    if (method->starts_with("notifications/")) return std::nullopt;
    return answer(*method, id, objectMember(*members, "params"), exchange);
}

std::optional<JSONValue> MCPRequestHandler::answer(std::string_view method, const JSONValue& id,
                                                   const JSONObject& params, const Exchange& exchange) {
    if (method == "initialize") return result(id, initialized(params));
    if (method == "ping") return result(id, JSONObject());
    if (method == "tools/list") return result(id, toolList());
    if (method == "tools/call") return calledTool(id, params, exchange);
    return error(id, ErrorCode::methodNotFound, fmt::format("Method not found: {}", method));
}

JSONValue MCPRequestHandler::initialized(const JSONObject& params) {
    const std::string* version = stringMember(params, "protocolVersion");
    const bool isGiven = version != nullptr && !version->empty();
    clientVersion_ = isGiven && isDate(*version) ? *version : "";
    return JSONObject{
        {"protocolVersion", isGiven ? std::string_view(*version) : protocolVersion},
        {"capabilities", JSONObject{{"tools", JSONObject{{"listChanged", false}}}}},
        {"serverInfo", JSONObject{{"name", context_.serverName}, {"version", context_.serverVersion}}},
        {"instructions", fmt::format(instructions, words::computer)}};
}

JSONValue MCPRequestHandler::toolList() const {
    JSONValue::Array list;
    for (const Tool& tool : tools()) {
        std::vector<JSONObject::Member> members = {
            {"name", tool.name}, {"description", tool.description}, {"inputSchema", tool.schema}};
        if (clientKnows(annotationsVersion)) {
            members.push_back(
                {"annotations",
                 JSONObject{{"title", tool.title}, {"readOnlyHint", true}, {"openWorldHint", false}}});
        }
        if (clientKnows(structuredVersion)) members.push_back({"outputSchema", tool.outputSchema});
        list.emplace_back(JSONObject(std::move(members)));
    }
    return JSONObject{{"tools", std::move(list)}};
}

std::optional<JSONValue> MCPRequestHandler::calledTool(const JSONValue& id, const JSONObject& params,
                                                       const Exchange& exchange) const {
    const std::string* name = stringMember(params, "name");
    if (name == nullptr) return error(id, ErrorCode::invalidParams, "Invalid params: missing tool name");
    const auto tool = std::ranges::find(tools(), *name, &Tool::name);
    if (tool == tools().end()) return error(id, ErrorCode::invalidParams, "Unknown tool: " + *name);
    JSONValue content = contentOf(*tool, params, exchange);
    if (exchange.stop.stop_requested()) return std::nullopt;
    return result(id, std::move(content));
}

decltype(ToolCall::report) MCPRequestHandler::reportTo(const Exchange& exchange,
                                                       const JSONObject& params) const {
    const JSONValue* token = objectMember(params, "_meta").find("progressToken");
    if (!exchange.notify || token == nullptr || !clientKnows(progressVersion)) return [](auto, auto) {};
    using Clock = std::chrono::steady_clock;
    return [&notify = exchange.notify, token, next = Clock::time_point(),
            last = std::optional<std::uint64_t>()](std::uint64_t done, std::uint64_t all) mutable {
        constexpr std::chrono::milliseconds betweenNotifications{100};
        // The protocol requires each notification to tell of more progress than the one before.
        if (all == 0 || (last && done <= *last) || Clock::now() < next) return;
        last = done;
        next = Clock::now() + betweenNotifications;
        notify(JSONObject{
            {"jsonrpc", "2.0"},
            {"method", "notifications/progress"},
            {"params", JSONObject{{"progressToken", *token}, {"progress", done}, {"total", all}}}});
    };
}

JSONValue MCPRequestHandler::contentOf(const Tool& tool, const JSONObject& params,
                                       const Exchange& exchange) const {
    const JSONObject& arguments = objectMember(params, "arguments");
    try {
        refuseLongTexts(arguments);
        if (prepare_) prepare_(tool, exchange.stop);
        JSONValue value =
            tool.run(context_, {ToolArguments(arguments), exchange.stop, reportTo(exchange, params)});
        std::string text = value.string() != nullptr ? *value.string() : value.serializedString();
        return toolContent(std::move(text), false,
                           clientKnows(structuredVersion) ? std::move(value) : JSONValue());
    } catch (const ToolError& failure) {
        return toolContent(failure.message, true);
    } catch (const std::exception&) {
        return toolContent("Internal error", true);
    }
}

}  // namespace dovra
