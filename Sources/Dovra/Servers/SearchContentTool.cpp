#include <fmt/format.h>
#include <utility>

#include "Base/JoinPath.hpp"
#include "Query/SearchEngine.hpp"
#include "Servers/FileGrep.hpp"
#include "Servers/Tool.hpp"

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

constexpr std::int64_t mostCandidates = 5000;

/// Which files are searched, as the client gave it; at least one of both.
struct Scope {
    std::string extensions;
    std::optional<std::string> within;

    std::string text() const {
        return joined(extensions.empty() ? "" : "ext:" + extensions, within ? "within:" + *within : "");
    }

    /// Quotes keep what stands in them from being read as operators.
    std::string candidateQuery() const {
        return joined(extensions.empty() ? "" : "ext:" + quoted(extensions),
                      within ? "path:" + quoted(expandedPath(*within)) : "");
    }

private:
    static std::string quoted(std::string text) {
        std::erase(text, '"');
        return fmt::format("\"{}\"", text);
    }

    static std::string joined(std::string_view a, std::string_view b) {
        return fmt::format("{}{}{}", a, a.empty() || b.empty() ? "" : " ", b);
    }
};

Scope requiredScope(const ToolArguments& arguments) {
    Scope scope{normalizeExtensions(arguments.text("ext").value_or("")), arguments.text("within")};
    if (scope.extensions.empty() && !scope.within) {
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

ContentMatches matchesIn(const std::vector<FileRow>& candidates, const TextNeedle& needle,
                         std::int64_t mostFiles, std::int64_t mostLines) {
    ContentMatches found;
    for (const FileRow& row : candidates) {
        if (row.isDir) continue;
        if (std::ssize(found.files) == mostFiles) {
            found.isTruncated = true;
            break;
        }
        std::string path = joinPath(row.path, row.name);
        const auto lines = grepFile(path, needle, static_cast<std::size_t>(mostLines));
        if (!lines) continue;
        ++found.filesScanned;
        if (lines->empty()) continue;
        found.totalMatches += std::ssize(*lines);
        found.files.push_back(fileJSON(std::move(path), *lines));
    }
    return found;
}

JSONValue contentSearchTool(const ToolContext& context, const ToolArguments& arguments) {
    const auto query = arguments.text("query");
    if (!query) throw ToolError{"`query` is required (the text to find inside files)."};
    const Scope scope = requiredScope(arguments);
    const SearchResult candidates =
        search(context.index, scope.candidateQuery(), {.key = SortSpec::Key::path}, mostCandidates);
    ContentMatches found =
        matchesIn(candidates.rows, TextNeedle(*query, arguments.flag("match_case")),
                  arguments.number("max_files", {.usual = 50, .least = 1, .most = 500}),
                  arguments.number("max_matches_per_file", {.usual = 5, .least = 1, .most = 100}));
    return JSONObject{{"query", *query},
                      {"scope", scope.text()},
                      {"filesScanned", found.filesScanned},
                      {"filesMatched", found.files.size()},
                      {"totalMatches", found.totalMatches},
                      {"truncated", found.isTruncated},
                      {"results", std::move(found.files)}};
}

}  // namespace

Tool searchContentTool() {
    return {"search_content", contentDescription, *JSONValue::parse(contentSchema), contentSearchTool};
}

}  // namespace dovra
