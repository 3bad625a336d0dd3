#include <fmt/format.h>
#include <utility>

#include "Base/PathText.hpp"
#include "Query/SearchEngine.hpp"
#include "Servers/Tools/FileGrep.hpp"
#include "Servers/Tools/PathScope.hpp"

namespace dovra {

namespace {

constexpr const char* contentDescription =
    R"(Search INSIDE file contents (grep-style) and return the matching files with line numbers and the matching lines. Reads files on demand, so you MUST scope it with `ext` and/or `within` (e.g. ext="swift", within="~/Projects/app"); an unscoped content search is rejected. Best for finding where a symbol, string, TODO, import, or config value actually lives on disk.)";

constexpr const char* contentSchema = R"({
  "type": "object",
  "properties": {
    "query": { "type": "string", "description": "Literal text to find inside files (case-insensitive unless match_case)." },
    "within": { "type": "string", "description": "Limit to files whose path contains this folder or substring (e.g. \"~/Projects/app\"). Strongly recommended to stay fast." },
    "ext": { "type": "string", "description": "Limit to these extensions, e.g. \"swift\" or \"swift;ts;js\"." },
    "match_case": { "type": "boolean", "description": "Case-sensitive matching." },
    "max_files": { "type": "integer", "description": "Max matching files to return (default 50, max 500).", "default": 50, "minimum": 1, "maximum": 500 },
    "max_matches_per_file": { "type": "integer", "description": "Max matching lines per file (default 5, max 100).", "default": 5, "minimum": 1, "maximum": 100 }
  },
  "required": ["query"]
})";

constexpr const char* contentOutputSchema = R"({
  "type": "object",
  "properties": {
    "query": { "type": "string" },
    "scope": { "type": "string" },
    "filesScanned": { "type": "integer" },
    "filesMatched": { "type": "integer" },
    "totalMatches": { "type": "integer", "description": "How many lines are returned." },
    "truncated": { "type": "boolean", "description": "Whether files of the scope were not searched." },
    "results": { "type": "array", "items": { "type": "object", "properties": {
      "path": { "type": "string" },
      "matches": { "type": "array", "items": { "type": "object", "properties": {
        "line": { "type": "integer" },
        "text": { "type": "string" }
      }, "required": ["line", "text"] } }
    }, "required": ["path", "matches"] } }
  },
  "required": ["query", "scope", "filesScanned", "filesMatched", "totalMatches", "truncated", "results"]
})";

constexpr std::int64_t mostCandidates = 5000;

/// The client's choice of files. At least one of the two is given.
struct Scope {
    std::string extensions;
    PathScope within;
    std::string text;

    CompiledQuery candidateQuery() const {
        std::string list = extensions;
        std::erase(list, '"');
        // Quotes keep what stands in them from being read as operators.
        return within.narrowed(QueryParser::parse(list.empty() ? "" : fmt::format("ext:\"{}\"", list)));
    }
};

std::string joined(std::string_view a, std::string_view b) {
    return fmt::format("{}{}{}", a, a.empty() || b.empty() ? "" : " ", b);
}

Scope requiredScope(const ToolArguments& arguments) {
    Scope scope{normalizeExtensions(arguments.text("ext").value_or("")), PathScope(arguments), {}};
    const auto within = arguments.text("within");
    scope.text =
        joined(scope.extensions.empty() ? "" : "ext:" + scope.extensions, within ? "within:" + *within : "");
    if (scope.text.empty()) {
        throw ToolError{
            "Scope the search with `ext` (e.g. \"swift\") and/or `within` (a folder or path substring). "
            "Content search reads files on demand, so it must be bounded."};
    }
    return scope;
}

struct ContentMatches {
    std::int64_t filesScanned = 0;
    std::int64_t totalMatches = 0;
    bool isTruncated = false;
    JSONValue::Array files;
};

JSONValue fileJSON(std::string path, const std::vector<MatchingLine>& lines) {
    JSONValue::Array matches;
    for (const MatchingLine& line : lines)
        matches.push_back(JSONObject{{"line", line.number}, {"text", line.text}});
    return JSONObject{{"path", std::move(path)}, {"matches", std::move(matches)}};
}

ContentMatches matchesIn(const SearchResult& candidates, const TextNeedle& needle, const ToolCall& call) {
    const auto mostFiles = call.arguments.number("max_files", {.usual = 50, .least = 1, .most = 500});
    const auto mostLines =
        call.arguments.number("max_matches_per_file", {.usual = 5, .least = 1, .most = 100});
    ContentMatches found;
    found.isTruncated = candidates.total > std::ssize(candidates.rows);
    std::uint64_t done = 0;
    for (const FileRow& row : candidates.rows) {
        call.report(done++, candidates.rows.size());
        if (row.isDir) continue;
        if (std::ssize(found.files) == mostFiles) {
            found.isTruncated = true;
            break;
        }
        std::string path = joinPath(row.path, row.name);
        const auto lines = grepFile(path, needle, static_cast<std::size_t>(mostLines), call.stop);
        if (call.stop.stop_requested()) break;
        if (!lines) continue;
        ++found.filesScanned;
        if (lines->empty()) continue;
        found.totalMatches += std::ssize(*lines);
        found.files.push_back(fileJSON(std::move(path), *lines));
    }
    return found;
}

JSONValue contentSearchTool(const ToolContext& context, const ToolCall& call) {
    const auto query = call.arguments.text("query");
    if (!query) throw ToolError{"`query` is required (the text to find inside files)."};
    const Scope scope = requiredScope(call.arguments);
    const SearchResult candidates =
        search(context.index, scope.candidateQuery(), {.key = SortSpec::Key::path}, mostCandidates);
    if (candidates.rows.empty()) scope.within.refuseUnlessIndexed(context);
    ContentMatches found = matchesIn(candidates, TextNeedle(*query, call.arguments.flag("match_case")), call);
    return JSONObject{{"query", *query},
                      {"scope", scope.text},
                      {"filesScanned", found.filesScanned},
                      {"filesMatched", found.files.size()},
                      {"totalMatches", found.totalMatches},
                      {"truncated", found.isTruncated},
                      {"results", std::move(found.files)}};
}

}  // namespace

Tool searchContentTool() {
    return {.name = "search_content",
            .title = "Search file contents",
            .description = contentDescription,
            .schema = *JSONValue::parse(contentSchema),
            .outputSchema = *JSONValue::parse(contentOutputSchema),
            .run = contentSearchTool};
}

}  // namespace dovra
