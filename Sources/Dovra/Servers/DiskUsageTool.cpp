#include <algorithm>
#include <utility>

#include "Analysis/DiskUsage.hpp"
#include "Base/ByteCount.hpp"
#include "Servers/Tool.hpp"

namespace dovra {

namespace {

constexpr const char* usageDescription =
    "List the largest directories by recursive total size, to see what is using disk space.";

constexpr const char* usageSchema = R"({
  "type": "object",
  "properties": {
    "path": { "type": "string", "description": "Root directory to report on (defaults to the whole index)." },
    "limit": { "type": "integer", "description": "Max directories to return (default 20, max 1000).", "default": 20, "minimum": 1, "maximum": 1000 }
  }
})";

JSONValue directoryJSON(const DirUsage& directory) {
    return JSONObject{{"path", directory.path},
                      {"size", byteCountText(directory.totalBytes)},
                      {"files", directory.fileCount}};
}

JSONValue usageTool(const ToolContext& context, const ToolArguments& arguments) {
    std::optional<std::string> path = arguments.text("path");
    if (path) path = expandedPath(*path);
    const auto limit = arguments.number("limit", {.usual = 20, .least = 1, .most = 1000});
    JSONValue::Array directories;
    std::ranges::transform(directoryUsage(context.index, path, limit), std::back_inserter(directories),
                           directoryJSON);
    return JSONObject{{"directories", std::move(directories)}};
}

}  // namespace

Tool diskUsageTool() {
    return {"disk_usage", usageDescription, *JSONValue::parse(usageSchema), usageTool};
}

}  // namespace dovra
