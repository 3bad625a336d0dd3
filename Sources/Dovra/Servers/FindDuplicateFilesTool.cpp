#include <algorithm>
#include <utility>

#include "Base/ByteCount.hpp"
#include "Base/JoinPath.hpp"
#include "Base/TextNeedle.hpp"
#include "Query/ContentDuplicates.hpp"
#include "Servers/Tool.hpp"

namespace dovra {

namespace {

constexpr const char* duplicatesDescription =
    R"(Find files with IDENTICAL CONTENT (true duplicates, by hashing — not just matching names) so disk space can be reclaimed. Optionally narrow with a query such as `ext:jpg` or `size:>10mb`. Returns duplicate sets and the total reclaimable bytes.)";

constexpr const char* duplicatesSchema = R"({
  "type": "object",
  "properties": {
    "query": { "type": "string", "description": "Optional extra filter applied before de-duplication, e.g. `ext:jpg`." },
    "within": { "type": "string", "description": "Restrict to files whose path contains this substring." },
    "limit": { "type": "integer", "description": "Max duplicate sets to return (default 50, max 1000).", "default": 50, "minimum": 1, "maximum": 1000 }
  }
})";

/// Takes the files elsewhere out of the sets, and with them the sets that are none any more.
void narrow(std::vector<DuplicateGroup>& sets, const TextNeedle& within) {
    for (DuplicateGroup& set : sets) {
        std::erase_if(set.rows,
                      [&](const FileRow& row) { return !within.foundIn(joinPath(row.path, row.name)); });
    }
    std::erase_if(sets, [](const DuplicateGroup& set) { return set.rows.size() < 2; });
}

JSONValue setJSON(const DuplicateGroup& set) {
    JSONValue::Array files;
    for (const FileRow& row : set.rows)
        files.emplace_back(joinPath(row.path, row.name));
    return JSONObject{{"copies", set.rows.size()},
                      {"bytesEach", set.sizeBytes},
                      {"size", byteCountText(set.sizeBytes)},
                      {"files", std::move(files)}};
}

JSONValue duplicatesTool(const ToolContext& context, const ToolArguments& arguments) {
    const auto query = arguments.text("query");
    std::vector<DuplicateGroup> sets =
        findContentDuplicates(context.index, query ? *query + " dupe:content" : "dupe:content");
    if (const auto within = arguments.text("within")) narrow(sets, TextNeedle(expandedPath(*within), false));
    const std::uint64_t reclaimable = DuplicateFinder::reclaimableBytes(sets);
    const std::size_t count = sets.size();
    const auto limit = arguments.number("limit", {.usual = 50, .least = 1, .most = 1000});
    sets.resize(std::min(count, static_cast<std::size_t>(limit)));
    JSONValue::Array shown;
    std::ranges::transform(sets, std::back_inserter(shown), setJSON);
    return JSONObject{{"duplicateSets", count},
                      {"reclaimableBytes", reclaimable},
                      {"reclaimable", byteCountText(reclaimable)},
                      {"sets", std::move(shown)}};
}

}  // namespace

Tool findDuplicateFilesTool() {
    return {"find_duplicate_files", duplicatesDescription, *JSONValue::parse(duplicatesSchema),
            duplicatesTool};
}

}  // namespace dovra
