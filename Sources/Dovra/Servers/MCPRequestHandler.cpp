#include "Servers/MCPRequestHandler.hpp"

#include <algorithm>
#include <exception>
#include <fmt/format.h>
#include <utility>

namespace dovra {

namespace {

constexpr std::string_view protocolVersion = "2024-11-05";

constexpr std::string_view instructions =
    "Dovra is a fast, local, read-only file finder for this Mac. It indexes filenames and paths (not "
    "contents) "
    "across the startup volume and answers in milliseconds; nothing leaves the machine. Use search_files for "
    "name/path search with a rich query language, find_duplicate_files for identical-content files, "
    "disk_usage "
    "for the largest folders, and index_stats to check readiness.";

const JSONObject noMembers;

/// The member, if it is an object; else one without members.
const JSONObject& objectMember(const JSONObject& object, std::string_view key) {
    const JSONValue* value = object.find(key);
    return value != nullptr && value->object() != nullptr ? *value->object() : noMembers;
}

/// The member, if it is a string; else null.
const std::string* stringMember(const JSONObject& object, std::string_view key) {
    const JSONValue* value = object.find(key);
    return value != nullptr ? value->string() : nullptr;
}

/// Working on a text takes up to a hundred times its own size.
void refuseLongTexts(const JSONObject& arguments) {
    for (const auto& [key, value] : arguments.members()) {
        if (value.string() != nullptr && value.string()->size() > mostArgumentBytes)
            throw ToolError{fmt::format("`{}` is longer than {} bytes.", key, mostArgumentBytes)};
    }
}

JSONValue toolList() {
    JSONValue::Array list;
    for (const Tool& tool : tools())
        list.push_back(
            JSONObject{{"name", tool.name}, {"description", tool.description}, {"inputSchema", tool.schema}});
    return JSONObject{{"tools", std::move(list)}};
}

}  // namespace

MCPRequestHandler::MCPRequestHandler(ToolContext context, std::function<void(const Tool&)> prepare)
    : context_(std::move(context)), prepare_(std::move(prepare)) {}

JSONValue MCPRequestHandler::result(const JSONValue& id, JSONValue value) {
    return JSONObject{{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(value)}};
}

JSONValue MCPRequestHandler::error(const JSONValue& id, ErrorCode code, std::string_view message) {
    return JSONObject{{"jsonrpc", "2.0"},
                      {"id", id},
                      {"error", JSONObject{{"code", static_cast<int>(code)}, {"message", message}}}};
}

JSONValue MCPRequestHandler::toolContent(std::string text, bool isError) {
    JSONValue::Array content;
    content.push_back(JSONObject{{"type", "text"}, {"text", std::move(text)}});
    return JSONObject{{"content", std::move(content)}, {"isError", isError}};
}

std::optional<JSONValue> MCPRequestHandler::handle(const JSONValue& request) const {
    const JSONObject* members = request.object();
    if (members == nullptr) return error({}, ErrorCode::invalidRequest, "Invalid Request: not an object");
    const JSONValue* given = members->find("id");
    const JSONValue id = given != nullptr ? *given : JSONValue();
    const std::string* method = stringMember(*members, "method");
    if (method == nullptr) return error(id, ErrorCode::invalidRequest, "Invalid Request: missing method");
    if (method->starts_with("notifications/")) return std::nullopt;
    return answer(*method, id, objectMember(*members, "params"));
}

JSONValue MCPRequestHandler::answer(std::string_view method, const JSONValue& id,
                                    const JSONObject& params) const {
    if (method == "initialize") return result(id, initialized(params));
    if (method == "ping") return result(id, JSONObject());
    if (method == "tools/list") return result(id, toolList());
    if (method == "tools/call") return calledTool(id, params);
    return error(id, ErrorCode::methodNotFound, fmt::format("Method not found: {}", method));
}

JSONValue MCPRequestHandler::initialized(const JSONObject& params) const {
    const std::string* version = stringMember(params, "protocolVersion");
    const bool isGiven = version != nullptr && !version->empty();
    return JSONObject{
        {"protocolVersion", isGiven ? std::string_view(*version) : protocolVersion},
        {"capabilities", JSONObject{{"tools", JSONObject{{"listChanged", false}}}}},
        {"serverInfo", JSONObject{{"name", context_.serverName}, {"version", context_.serverVersion}}},
        {"instructions", instructions}};
}

JSONValue MCPRequestHandler::calledTool(const JSONValue& id, const JSONObject& params) const {
    const std::string* name = stringMember(params, "name");
    if (name == nullptr) return error(id, ErrorCode::invalidParams, "Invalid params: missing tool name");
    const auto tool = std::ranges::find(tools(), *name, &Tool::name);
    if (tool == tools().end()) return error(id, ErrorCode::invalidParams, "Unknown tool: " + *name);
    return result(id, contentOf(*tool, objectMember(params, "arguments")));
}

JSONValue MCPRequestHandler::contentOf(const Tool& tool, const JSONObject& arguments) const {
    try {
        refuseLongTexts(arguments);
        if (prepare_) prepare_(tool);
        const JSONValue value = tool.run(context_, ToolArguments(arguments));
        const std::string* text = value.string();
        return toolContent(text != nullptr ? *text : value.serializedString(), false);
    } catch (const ToolError& failure) {
        return toolContent(failure.message, true);
    } catch (const std::exception&) {
        return toolContent("Internal error", true);
    }
}

}  // namespace dovra
