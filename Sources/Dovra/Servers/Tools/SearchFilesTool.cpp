#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "Base/Format.hpp"
#include "Base/PathText.hpp"
#include "Platform/PlatformWords.hpp"
#include "Query/RegularExpression.hpp"
#include "Query/SearchEngine.hpp"
#include "Servers/Tools/PathScope.hpp"
#include "Servers/Tools/SortParameter.hpp"

namespace dovra {

namespace {

/// The place "{}" is for the computer's name.
constexpr const char* searchDescription =
    R"(Search files and folders on this {} by name and path, returning matches ranked by the chosen sort. Fast (sub-second) and local. `query` is written in Dovra's own query language:
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

constexpr const char* searchOutputSchema = R"({
  "type": "object",
  "properties": {
    "query": { "type": "string", "description": "The query with the switches of the call." },
    "total": { "type": "integer", "description": "How many files and folders match." },
    "returned": { "type": "integer" },
    "results": { "type": "array", "items": { "type": "object", "properties": {
      "name": { "type": "string" },
      "path": { "type": "string" },
      "directory": { "type": "string" },
      "type": { "type": "string", "enum": ["folder", "file"] },
      "size": { "type": "string", "description": "Of files only." },
      "bytes": { "type": "integer", "description": "Of files only." },
      "modified": { "type": "string", "description": "In UTC, ISO 8601." }
    }, "required": ["name", "path", "directory", "type"] } },
    "incomplete": { "type": "string", "description": "Only where matches may be missing: why." }
  },
  "required": ["query", "total", "returned", "results"]
})";

std::string withoutQuotes(std::string text) {
    std::erase(text, '"');
    return text;
}

std::string regexTerm(const std::string& query) {
    const std::string pattern = withoutQuotes(query);
    if (const auto fault = RegularExpression::fault(pattern))
        throw ToolError{fmt::format("`query` is no valid regular expression: {}.", *fault)};
    return fmt::format("regex:\"{}\"", pattern);
}

/// The query, with the switches of the call added in the query language.
std::string composedQuery(const std::string& query, const ToolArguments& arguments) {
    if (arguments.flag("fuzzy")) return fmt::format("fuzzy:\"{}\"", withoutQuotes(query));
    std::string prefix = arguments.flag("match_case") ? "case: " : "";
    if (arguments.flag("regex")) return prefix + regexTerm(query);
    if (arguments.flag("whole_word")) prefix += "ww: ";
    if (arguments.flag("match_path")) prefix += "path: ";
    return prefix + query;
}

/// The matches in scope. The total counts all of them, unless files would have to be read to count them.
SearchResult searchWithin(const ToolContext& context, const CompiledQuery& query, SortSpec sort,
                          std::int64_t limit, const PathScope& scope) {
    SearchResult result = search(context.index, scope.narrowed(query), sort, limit);
    if (!scope.isGiven()) return result;
    if (result.rows.empty()) scope.refuseUnlessIndexed(context);
    const bool readsFiles = query.wantsContentDuplicates || query.tree.readsFiles();
    if (readsFiles) return result;
    const SearchResult all = search(context.index, query, sort, 0);
    result.total = all.total;
    result.abandoned = all.abandoned - result.abandoned;  // the expressions of both count together
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

JSONValue searchTool(const ToolContext& context, const ToolCall& call) {
    const ToolArguments& arguments = call.arguments;
    const auto given = arguments.text("query");
    if (!given) throw ToolError{"`query` is required."};
    const std::int64_t limit = arguments.number("limit", {.usual = 50, .least = 1, .most = 1000});
    const SortSpec sort = sortSpec(arguments.text("sort"), arguments.text("order"));
    const std::string query = composedQuery(*given, arguments);
    CompiledQuery compiled = QueryParser::parse(query);
    compiled.stop = call.stop;
    const PathScope scope(arguments, arguments.flag("match_case"));
    const SearchResult result = searchWithin(context, compiled, sort, limit, scope);
    JSONValue::Array rows;
    std::ranges::transform(result.rows, std::back_inserter(rows), rowJSON);
    std::vector<JSONObject::Member> members = {
        {"query", query}, {"total", result.total}, {"returned", rows.size()}, {"results", std::move(rows)}};
    if (result.abandoned > 0) members.push_back({"incomplete", abandonedNote(result.abandoned)});
    return JSONObject(std::move(members));
}

}  // namespace

Tool searchFilesTool() {
    return {.name = "search_files",
            .title = "Search files",
            .description = fmt::format(searchDescription, words::computer),
            .schema = *JSONValue::parse(searchSchema),
            .outputSchema = *JSONValue::parse(searchOutputSchema),
            .run = searchTool};
}

}  // namespace dovra
