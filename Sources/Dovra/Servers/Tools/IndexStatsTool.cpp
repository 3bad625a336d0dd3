#include "Base/Format.hpp"
#include "Servers/Tools/Tool.hpp"

namespace dovra {

namespace {

constexpr const char* statsDescription =
    "Report the index status: how many items are indexed and the root being searched. Use this to confirm "
    "the index is ready.";

constexpr const char* statsSchema = R"({ "type": "object", "properties": {} })";

constexpr const char* statsOutputSchema = R"({
  "type": "object",
  "properties": {
    "indexedItems": { "type": "integer" },
    "root": { "type": "string", "description": "The folder whose tree is indexed." },
    "ready": { "type": "boolean", "description": "Whether the index is whole and not empty." },
    "watching": { "type": "string", "description": "How changes are noticed." },
    "lastComparison": { "type": ["object", "null"], "description": "The last time that the index was compared with the disk.", "properties": {
      "endedAt": { "type": "string" },
      "foldersFound": { "type": "integer", "description": "Folders with a difference." }
    }, "required": ["endedAt", "foldersFound"] },
    "server": { "type": "string" },
    "version": { "type": "string" }
  },
  "required": ["indexedItems", "root", "ready", "watching", "lastComparison", "server", "version"]
})";

/// The last comparison of the whole index with the disk: its end, and the number of folders in which it
/// found a change that no event had told.
JSONValue comparison(const std::optional<RoundOutcome>& round) {
    if (!round) return {};
    const auto ended = iso8601Text(static_cast<double>(round->endedAt));
    return JSONObject{{"endedAt", ended.value_or("")}, {"foldersFound", round->finds}};
}

JSONValue statsTool(const ToolContext& context, const ToolCall&) {
    const IndexStats stats = context.statsProvider();
    return JSONObject{{"indexedItems", stats.count},
                      {"root", stats.root},
                      {"ready", stats.status.isReady && stats.count > 0},
                      {"watching", stats.status.coverage},
                      {"lastComparison", comparison(stats.status.lastRound)},
                      {"server", context.serverName},
                      {"version", context.serverVersion}};
}

}  // namespace

Tool indexStatsTool() {
    return {.name = "index_stats",
            .title = "Index status",
            .description = statsDescription,
            .schema = *JSONValue::parse(statsSchema),
            .outputSchema = *JSONValue::parse(statsOutputSchema),
            .run = statsTool,
            .needsWholeIndex = false};
}

}  // namespace dovra
