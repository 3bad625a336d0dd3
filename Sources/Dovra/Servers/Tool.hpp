#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "Base/JSONValue.hpp"
#include "Index/FileIndex.hpp"
#include "Servers/ToolArguments.hpp"
#include "Services/IndexService.hpp"

namespace dovra {

/// Why a tool gives no result. The message is for the client.
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

/// A tool as clients see it, and what runs it.
struct Tool {
    /// Returns the result or throws `ToolError`.
    using Run = JSONValue (*)(const ToolContext& context, const ToolArguments& arguments);

    std::string name;
    std::string description;
    JSONValue schema;  ///< of the arguments
    Run run;
    bool needsWholeIndex = true;  ///< whether a call waits for the first scan
};

/// All tools, in the order in which clients are told of them.
std::span<const Tool> tools();

// One function for each, defined in a file of its own.
Tool searchFilesTool();
Tool searchContentTool();
Tool findDuplicateFilesTool();
Tool diskUsageTool();
Tool indexStatsTool();

}  // namespace dovra
