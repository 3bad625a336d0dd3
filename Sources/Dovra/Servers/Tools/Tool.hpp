#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <stop_token>
#include <string>

#include "Base/JSONValue.hpp"
#include "Index/FileIndex.hpp"
#include "Servers/Tools/ToolArguments.hpp"
#include "Services/IndexService.hpp"

namespace dovra {

/// The reason why a tool gives no result, told to the client.
struct ToolError {
    std::string message;
};

struct IndexStats {
    std::int64_t count = 0;  ///< entries that are indexed by now
    std::string root;
    IndexStatus status;
};

/// What tools work on.
struct ToolContext {
    const FileIndex& index;
    std::string serverName;
    std::string serverVersion;
    std::function<IndexStats()> statsProvider;
};

/// One call of a tool.
struct ToolCall {
    ToolArguments arguments;
    /// After a request to stop, nobody waits for the result any more, and it is thrown away.
    std::stop_token stop;
    /// Tells the client how much of all the work is done. May be called often, and by any thread, but by one
    /// at a time.
    std::function<void(std::uint64_t done, std::uint64_t all)> report;
};

/// A tool: its description for clients, and its function.
struct Tool {
    /// Returns the result or throws `ToolError`.
    using Run = JSONValue (*)(const ToolContext& context, const ToolCall& call);

    std::string name;
    std::string title;  ///< for people
    std::string description;
    JSONValue schema;        ///< of the arguments
    JSONValue outputSchema;  ///< of the result
    Run run;
    bool needsWholeIndex = true;  ///< whether a call waits for the first scan
};

/// All tools, in the order in which clients are told of them. None changes anything.
std::span<const Tool> tools();

// One function for each, defined in a file of its own.
Tool searchFilesTool();
Tool searchContentTool();
Tool findDuplicateFilesTool();
Tool diskUsageTool();
Tool indexStatsTool();

}  // namespace dovra
