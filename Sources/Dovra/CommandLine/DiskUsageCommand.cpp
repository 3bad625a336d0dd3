#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "Analysis/DiskUsage.hpp"
#include "Base/Format.hpp"
#include "Base/Print.hpp"
#include "CommandLine/CLI.hpp"
#include "CommandLine/Output.hpp"
#include "CommandLine/ScanFolder.hpp"
#include "Platform/Paths.hpp"
#include "Platform/StandardStreams.hpp"

namespace dovra {

namespace {

struct DiskUsageOptions {
    std::vector<std::string> folders;  ///< as given
    std::int64_t limit = 20;
};

std::vector<Option> diskUsageOptionTable(DiskUsageOptions& options) {
    return {
        {{"--in"},
         "folder",
         "report this folder and those below it (default: /)",
         [&](const std::string& value) {
             options.folders.push_back(value);
             return true;
         }},
        {{"--limit"},
         "number",
         "print at most so many folders; below 1: all (default: 20)",
         reads(options.limit, parseLimit)},
    };
}

/// A bare argument is the folder.
std::optional<std::string> faultOf(const ParsedArguments& parsed, const DiskUsageOptions& options) {
    if (parsed.fault) return parsed.fault;
    if (parsed.unknownOption) return noSuchOption(*parsed.unknownOption);
    if (options.folders.size() > 1)
        return fmt::format("one folder can be reported, and not \"{}\" too", options.folders.back());
    return std::nullopt;
}

int printDiskUsageHelp(std::span<const Option> table) {
    printOutput("usage: dovra --du [folder] [options]\n\nOptions:\n{}", optionsHelp(table));
    return 0;
}

bool printRows(std::span<const DirUsage> rows) {
    PathOutput output(PathTerminator::newline);
    const TerminalStyle style(StandardStream::output);
    for (const DirUsage& row : rows) {
        output.writeText(style.accent(fmt::format("{:>10}", byteCountText(row.totalBytes))));
        output.writeText(fmt::format("  {:>8} files  ", row.fileCount));
        output.writeText(style.dim(output.shown(row.path)));
        output.writeText("\n");
    }
    return output.finish();
}

}  // namespace

int CLI::runDiskUsage(Arguments args) {
    DiskUsageOptions options;
    const std::vector<Option> table = diskUsageOptionTable(options);
    if (asksForHelp(args)) return printDiskUsageHelp(table);
    const ParsedArguments parsed = parseOptions(args, table);
    std::ranges::copy(parsed.others, std::back_inserter(options.folders));
    if (const auto fault = faultOf(parsed, options)) return reportMisuse("--du", *fault);
    const auto folder = standardizedPath(options.folders.empty() ? "/" : options.folders.front());
    FileIndex index;
    if (!scanFolder(index, folder)) return 1;
    return printRows(directoryUsage(index, folder, options.limit)) ? 0 : 1;
}

}  // namespace dovra
