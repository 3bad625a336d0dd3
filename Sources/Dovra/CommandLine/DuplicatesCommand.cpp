#include <fmt/core.h>
#include <optional>
#include <string>
#include <vector>

#include "Base/ByteCount.hpp"
#include "Base/JoinPath.hpp"
#include "Base/PrintError.hpp"
#include "CommandLine/CLI.hpp"
#include "CommandLine/PathOutput.hpp"
#include "CommandLine/ProgressLine.hpp"
#include "CommandLine/ScanFolder.hpp"
#include "Platform/Paths.hpp"
#include "Platform/TerminalStyle.hpp"
#include "Query/ContentDuplicates.hpp"
#include "Query/QueryKeys.hpp"

namespace dovra {

namespace {

struct DuplicatesOptions {
    std::optional<std::string> root = "/";
    std::int64_t limit = noLimit;
    PathTerminator terminator = PathTerminator::newline;
};

std::vector<Option> duplicatesOptionTable(DuplicatesOptions& options) {
    return {
        {{"--in", "-i"},
         "folder",
         "compare the files below this folder (default: /)",
         [&](const std::string& value) { options.root = standardizedPath(value); }},
        {{"--limit", "-n"},
         "number",
         "print at most so many sets, largest files first; below 1: all (default: all)",
         [&](const std::string& value) { options.limit = parseLimit(value).value_or(options.limit); }},
        {{"--print0", "-0"},
         {},
         "print paths only, each ended by a NUL byte, and another NUL byte behind each set",
         [&](const std::string&) { options.terminator = PathTerminator::nul; }},
    };
}

int printDuplicatesHelp(std::span<const Option> table) {
    fmt::print(
        "usage: dovra --duplicates [options] [--] [query]\n\n"
        "Lists the sets of files with equal contents among those that match the query. Names of one\n"
        "file on disk (hard links) count as copies.\n\nOptions:\n{}\n{}",
        optionsHelp(table), queryLanguageHelp());
    return 0;
}

std::vector<DuplicateGroup> findWithProgress(const FileIndex& index, const std::string& query) {
    HashProgress progress;
    const ProgressLine line([&] {
        return fmt::format("{} of {} files, {} of {} compared", progress.filesDone.load(),
                           progress.filesToHash.load(), byteCountText(progress.bytesDone),
                           byteCountText(progress.bytesToHash));
    });
    return findContentDuplicates(index, query, &progress);
}

bool printGroups(std::span<const DuplicateGroup> groups, PathTerminator terminator) {
    PathOutput output(terminator);
    const TerminalStyle style(StandardStream::output);
    for (const DuplicateGroup& group : groups) {
        if (terminator == PathTerminator::newline) {
            const std::string size = byteCountText(group.sizeBytes);
            output.writeText(style.accent(fmt::format("{} copies, {} each ---", group.rows.size(), size)));
            output.writeText("\n");
        }
        for (const FileRow& row : group.rows)
            output.writePath(joinPath(row.path, row.name));
        output.endSet();
    }
    return output.finish();
}

}  // namespace

int CLI::runDuplicates(Arguments args) {
    DuplicatesOptions options;
    const std::vector<Option> table = duplicatesOptionTable(options);
    if (asksForHelp(args)) return printDuplicatesHelp(table);
    const std::string query = joinedWords(parseOptions(args, table));
    FileIndex index;
    if (!scanFolder(index, options.root)) return 1;
    std::vector<DuplicateGroup> groups = findWithProgress(index, query);
    if (std::ssize(groups) > options.limit) groups.resize(static_cast<std::size_t>(options.limit));
    if (!printGroups(groups, options.terminator)) return 1;
    printError("{} duplicate set(s); {} reclaimable\n",
               TerminalStyle(StandardStream::error).bold(std::to_string(groups.size())),
               byteCountText(DuplicateFinder::reclaimableBytes(groups)));
    return 0;
}

}  // namespace dovra
