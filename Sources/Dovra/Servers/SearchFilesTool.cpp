#include <algorithm>
#include <utility>

#include "Base/ByteCount.hpp"
#include "Base/Iso8601.hpp"
#include "Base/JoinPath.hpp"
#include "Base/TextNeedle.hpp"
#include "Query/SearchEngine.hpp"
#include "Servers/SortParameter.hpp"
#include "Servers/Tool.hpp"

namespace dovra {

namespace {

constexpr const char* searchDescription =
    R"(Search files and folders on this Mac by name and path, returning matches ranked by the chosen sort. Fast (sub-second) and local. `query` is written in Dovra's own query language:
• plain text = case-insensitive substring of the name
• wildcards `*` and `?`  (e.g. `*.swift`, `report-??.pdf`)
• `ext:swift;ts` extensions; `file:` / `folder:` type
• `size:>1mb` `size:<10kb` `size:0` ; `dm:today` `dm:>2024-01-01` (modified), `dc:` (created)
• `path:foo` match the folder path; `name:` `stem:`
• quoted "exact phrase" ; boolean: space=AND, `|`=OR, `!`=NOT, `<…>` grouping
• `regex:PATTERN` ; `fuzzy:term` subsequence match ; macros `image:` `video:` `audio:` `doc:` `zip:`
Examples: `ext:pdf invoice 2024` · `size:>500mb video:` · `<*.swift|*.ts> !test` · `regex:TODO ext:swift`)";

constexpr const char* searchSchema = R"({
  "type": "object",
  "properties": {
    "query": { "type": "string", "description": "The search query (see tool description for syntax)." },
    "limit": { "type": "integer", "description": "Max results to return (default 50, max 1000).", "default": 50, "minimum": 1, "maximum": 1000 },
    "sort": { "type": "string", "enum": ["name", "path", "size", "date"], "default": "name" },
    "order": { "type": "string", "enum": ["asc", "desc"], "default": "asc" },
    "within": { "type": "string", "description": "Restrict results to full paths under/containing this directory or substring." },
    "match_case": { "type": "boolean", "description": "Case-sensitive matching." },
    "whole_word": { "type": "boolean", "description": "Match whole words only." },
    "match_path": { "type": "boolean", "description": "Match the query against the full path, not just the name." },
    "regex": { "type": "boolean", "description": "Treat the query as a regular expression." },
    "fuzzy": { "type": "boolean", "description": "Fuzzy (subsequence) match, ranked by relevance." }
  },
  "required": ["query"]
})";

std::string quoted(std::string text) {
    std::erase(text, '"');
    return "\"" + text + "\"";
}

/// The query in the query language's own words for the switches that the call sets.
std::string composedQuery(const std::string& query, const ToolArguments& arguments) {
    if (arguments.flag("fuzzy")) return "fuzzy:" + quoted(query);
    std::string prefix = arguments.flag("match_case") ? "case: " : "";
    if (arguments.flag("regex")) return prefix + "regex:" + quoted(query);
    if (arguments.flag("whole_word")) prefix += "ww: ";
    if (arguments.flag("match_path")) prefix += "path: ";
    return prefix + query;
}

SearchResult searchWithin(const FileIndex& index, const std::string& query, SortSpec sort, std::int64_t limit,
                          const TextNeedle& within) {
    constexpr std::int64_t leastAsked = 500;
    SearchResult result = search(index, query, sort, std::max(leastAsked, 20 * limit));
    std::erase_if(result.rows,
                  [&](const FileRow& row) { return !within.foundIn(joinPath(row.path, row.name)); });
    if (std::ssize(result.rows) > limit) result.rows.resize(static_cast<std::size_t>(limit));
    return result;
}

JSONValue rowJSON(const FileRow& row) {
    std::vector<JSONObject::Member> members = {{"name", row.name},
                                               {"path", joinPath(row.path, row.name)},
                                               {"directory", row.path},
                                               {"type", row.isDir ? "folder" : "file"}};
    if (!row.isDir) {
        members.push_back({"size", byteCountText(row.size)});
        members.push_back({"bytes", row.size});
    }
    if (const auto modified = iso8601Text(row.modified); modified && row.modified > 0)
        members.push_back({"modified", *modified});
    return JSONObject(std::move(members));
}

JSONValue searchTool(const ToolContext& context, const ToolArguments& arguments) {
    const auto given = arguments.text("query");
    if (!given) throw ToolError{"`query` is required."};
    const std::int64_t limit = arguments.number("limit", {.usual = 50, .least = 1, .most = 1000});
    const SortSpec sort = sortSpec(arguments.text("sort"), arguments.text("order"));
    const std::string query = composedQuery(*given, arguments);
    const auto within = arguments.text("within");
    const SearchResult result =
        within ? searchWithin(context.index, query, sort, limit,
                              TextNeedle(expandedPath(*within), arguments.flag("match_case")))
               : search(context.index, query, sort, limit);
    JSONValue::Array rows;
    std::ranges::transform(result.rows, std::back_inserter(rows), rowJSON);
    return JSONObject{
        {"query", query}, {"total", result.total}, {"returned", rows.size()}, {"results", std::move(rows)}};
}

}  // namespace

Tool searchFilesTool() {
    return {"search_files", searchDescription, *JSONValue::parse(searchSchema), searchTool};
}

}  // namespace dovra
