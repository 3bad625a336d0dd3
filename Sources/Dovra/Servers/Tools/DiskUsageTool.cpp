#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "Analysis/DiskUsage.hpp"
#include "Base/Format.hpp"
#include "Servers/Tools/PathScope.hpp"

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

constexpr const char* usageOutputSchema = R"({
  "type": "object",
  "properties": {
    "directories": { "type": "array", "description": "Largest first.", "items": { "type": "object", "properties": {
      "path": { "type": "string" },
      "size": { "type": "string", "description": "Of all files below it." },
      "files": { "type": "integer", "description": "How many files lie below it." }
    }, "required": ["path", "size", "files"] } }
  },
  "required": ["directories"]
})";

JSONValue directoryJSON(const DirUsage& directory) {
    return JSONObject{{"path", directory.path},
                      {"size", byteCountText(directory.totalBytes)},
                      {"files", directory.fileCount}};
}

/// Throws `ToolError` if what was found at and below the path shows that no such folder is in the index.
/// Folders that are gone are known by their names until the next scan, with nothing in them.
void refuseUnlessIndexed(const std::string& path, const std::vector<DirUsage>& found,
                         const ToolContext& context) {
    const std::string root = context.statsProvider().root;
    const bool holdsFiles = !found.empty() && found.front().fileCount > 0;
    if (holdsFiles || path == root || (!found.empty() && isInPaths(context.index, path))) return;
    throw ToolError{
        fmt::format("`path`: \"{}\" is no folder in the index, which holds what lies below {}.", path, root)};
}

JSONValue usageTool(const ToolContext& context, const ToolCall& call) {
    std::optional<std::string> path = call.arguments.text("path");
    if (path) path = expandedPath(*path);
    const auto limit = call.arguments.number("limit", {.usual = 20, .least = 1, .most = 1000});
    const std::vector<DirUsage> usage = directoryUsage(context.index, path, limit);
    if (path) refuseUnlessIndexed(*path, usage, context);
    JSONValue::Array directories;
    std::ranges::transform(usage, std::back_inserter(directories), directoryJSON);
    return JSONObject{{"directories", std::move(directories)}};
}

}  // namespace

Tool diskUsageTool() {
    return {.name = "disk_usage",
            .title = "Disk usage",
            .description = usageDescription,
            .schema = *JSONValue::parse(usageSchema),
            .outputSchema = *JSONValue::parse(usageOutputSchema),
            .run = usageTool};
}

}  // namespace dovra
