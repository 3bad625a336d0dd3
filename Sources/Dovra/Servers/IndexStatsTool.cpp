#include "Servers/Tool.hpp"

namespace dovra {

namespace {

constexpr const char* statsDescription =
    "Report the index status: how many items are indexed and the root being searched. Use this to confirm "
    "the index is ready.";

constexpr const char* statsSchema = R"({ "type": "object", "properties": {} })";

JSONValue statsTool(const ToolContext& context, const ToolArguments&) {
    const IndexStats stats = context.statsProvider();
    return JSONObject{{"indexedItems", stats.count},
                      {"root", stats.root},
                      {"ready", stats.isWhole && stats.count > 0},
                      {"server", context.serverName},
                      {"version", context.serverVersion}};
}

}  // namespace

Tool indexStatsTool() {
    return {.name = "index_stats",
            .description = statsDescription,
            .schema = *JSONValue::parse(statsSchema),
            .run = statsTool,
            .needsWholeIndex = false};
}

}  // namespace dovra
