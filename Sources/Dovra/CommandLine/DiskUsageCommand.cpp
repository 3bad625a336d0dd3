#include <fmt/core.h>
#include <optional>
#include <string>
#include <vector>

#include "Analysis/DiskUsage.hpp"
#include "Base/ByteCount.hpp"
#include "Base/PrintError.hpp"
#include "CommandLine/CLI.hpp"
#include "CommandLine/PathOutput.hpp"
#include "CommandLine/ScanFolder.hpp"
#include "Platform/Paths.hpp"
#include "Platform/TerminalStyle.hpp"

namespace dovra {

namespace {

struct DiskUsageOptions {
    std::optional<std::string> folder = "/";
    std::int64_t limit = 20;
};

std::vector<Option> diskUsageOptionTable(DiskUsageOptions& options) {
    return {
        {{"--in"},
         "folder",
         "report this folder and those below it (default: /)",
         [&](const std::string& value) { options.folder = standardizedPath(value); }},
        {{"--limit"},
         "number",
         "print at most so many folders; below 1: all (default: 20)",
         [&](const std::string& value) { options.limit = parseLimit(value).value_or(options.limit); }},
    };
}

/// A bare argument is the folder. What looks like an option and is none is passed over with a word of it.
void takeOtherArguments(std::span<const std::string> others, DiskUsageOptions& options) {
    for (const std::string& other : others) {
        if (other.starts_with('-')) {
            printError("dovra: --du has no option {}; see dovra --du --help\n", other);
        } else {
            options.folder = standardizedPath(other);
        }
    }
}

int printDiskUsageHelp(std::span<const Option> table) {
    fmt::print("usage: dovra --du [folder] [options]\n\nOptions:\n{}", optionsHelp(table));
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
    takeOtherArguments(parseOptions(args, table), options);
    FileIndex index;
    if (!scanFolder(index, options.folder)) return 1;
    return printRows(directoryUsage(index, options.folder, options.limit)) ? 0 : 1;
}

}  // namespace dovra
