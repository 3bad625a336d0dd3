#include <algorithm>
#include <chrono>
#include <utility>

#include "Base/Format.hpp"
#include "Base/PathText.hpp"
#include "Base/PeriodicCall.hpp"
#include "Query/ContentDuplicates.hpp"
#include "Servers/Tools/PathScope.hpp"

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

constexpr const char* duplicatesOutputSchema = R"({
  "type": "object",
  "properties": {
    "duplicateSets": { "type": "integer", "description": "How many sets were found." },
    "reclaimableBytes": { "type": "integer", "description": "What removing all but one copy of every set would free." },
    "reclaimable": { "type": "string" },
    "sets": { "type": "array", "description": "The first sets, largest files first.", "items": { "type": "object", "properties": {
      "copies": { "type": "integer" },
      "bytesEach": { "type": "integer" },
      "size": { "type": "string", "description": "Of one copy." },
      "files": { "type": "array", "items": { "type": "string" }, "description": "Full paths." }
    }, "required": ["copies", "bytesEach", "size", "files"] } },
    "incomplete": { "type": "string", "description": "Only where files may be missing: why." }
  },
  "required": ["duplicateSets", "reclaimableBytes", "reclaimable", "sets"]
})";

/// The sets among the files that match, telling the client meanwhile how much has been read.
std::vector<DuplicateGroup> findSets(const FileIndex& index, const CompiledQuery& query,
                                     const ToolCall& call) {
    constexpr std::chrono::milliseconds betweenReports{100};
    HashProgress progress;
    const PeriodicCall reports(betweenReports,
                               [&] { call.report(progress.bytesDone, progress.bytesToHash); });
    return findContentDuplicates(index, query, &progress);
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

JSONValue duplicatesTool(const ToolContext& context, const ToolCall& call) {
    const PathScope scope(call.arguments);
    CompiledQuery query = scope.narrowed(QueryParser::parse(call.arguments.text("query").value_or("")));
    query.stop = call.stop;
    std::vector<DuplicateGroup> sets = findSets(context.index, query, call);
    if (sets.empty()) scope.refuseUnlessIndexed(context);
    const std::uint64_t reclaimable = DuplicateFinder::reclaimableBytes(sets);
    const std::size_t count = sets.size();
    const auto limit = call.arguments.number("limit", {.usual = 50, .least = 1, .most = 1000});
    sets.resize(std::min(count, static_cast<std::size_t>(limit)));
    JSONValue::Array shown;
    std::ranges::transform(sets, std::back_inserter(shown), setJSON);
    std::vector<JSONObject::Member> members = {{"duplicateSets", count},
                                               {"reclaimableBytes", reclaimable},
                                               {"reclaimable", byteCountText(reclaimable)},
                                               {"sets", std::move(shown)}};
    if (const std::int64_t abandoned = query.tree.abandonedMatches(); abandoned > 0)
        members.push_back({"incomplete", abandonedNote(abandoned)});
    return JSONObject(std::move(members));
}

}  // namespace

Tool findDuplicateFilesTool() {
    return {.name = "find_duplicate_files",
            .title = "Find duplicate files",
            .description = duplicatesDescription,
            .schema = *JSONValue::parse(duplicatesSchema),
            .outputSchema = *JSONValue::parse(duplicatesOutputSchema),
            .run = duplicatesTool};
}

}  // namespace dovra
