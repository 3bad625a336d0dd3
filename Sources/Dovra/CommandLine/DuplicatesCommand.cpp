#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "Base/Format.hpp"
#include "Base/PathText.hpp"
#include "Base/Print.hpp"
#include "CommandLine/CLI.hpp"
#include "CommandLine/Output.hpp"
#include "CommandLine/ScanFolder.hpp"
#include "Platform/Paths.hpp"
#include "Platform/StandardStreams.hpp"
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
         [&](const std::string& value) {
             options.root = standardizedPath(value);
             return true;
         }},
        {{"--limit", "-n"},
         "number",
         "print at most so many sets, largest files first; below 1: all (default: all)",
         reads(options.limit, parseLimit)},
        {{"--print0", "-0"},
         {},
         "print paths only, each ended by a NUL byte, and another NUL byte behind each set",
         sets(options.terminator, PathTerminator::nul)},
    };
}

int printDuplicatesHelp(std::span<const Option> table) {
    printOutput(
        "usage: dovra --duplicates [options] [--] [query]\n\n"
        "Lists the sets of files with equal contents among those that match the query. Further names of one\n"
        "file (hard links) free nothing: they are left out, and counted at the end.\n\nOptions:\n{}\n{}",
        optionsHelp(table), queryLanguageHelp());
    return 0;
}

std::vector<DuplicateGroup> findWithProgress(const FileIndex& index, const CompiledQuery& query,
                                             HashProgress& progress) {
    const ProgressLine line([&] {
        return fmt::format("{} of {} files, {} of {} compared", progress.filesDone.load(),
                           progress.filesToHash.load(), byteCountText(progress.bytesDone),
                           byteCountText(progress.bytesToHash));
    });
    return findContentDuplicates(index, query, &progress);
}

bool printSets(std::span<const DuplicateGroup> groups, PathTerminator terminator) {
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

void printSummary(std::span<const DuplicateGroup> groups, std::uint64_t furtherNames,
                  std::int64_t abandoned) {
    printError("{} duplicate set(s); {} reclaimable\n",
               TerminalStyle(StandardStream::error).bold(std::to_string(groups.size())),
               byteCountText(DuplicateFinder::reclaimableBytes(groups)));
    if (furtherNames > 0)
        printError("{} further name(s) of the same files (hard links) left out\n", furtherNames);
    if (abandoned > 0) printError("{}\n", abandonedNote(abandoned));
}

}  // namespace

int CLI::runDuplicates(Arguments args) {
    DuplicatesOptions options;
    const std::vector<Option> table = duplicatesOptionTable(options);
    if (asksForHelp(args)) return printDuplicatesHelp(table);
    const ParsedArguments parsed = parseOptions(args, table);
    if (parsed.fault) return reportMisuse("--duplicates", *parsed.fault);
    FileIndex index;
    if (!scanFolder(index, options.root)) return 1;
    HashProgress progress;
    const CompiledQuery query = QueryParser::parse(joinedWords(parsed.others));
    const auto groups = findWithProgress(index, query, progress);
    const auto shown = std::min(groups.size(), static_cast<std::size_t>(options.limit));
    if (!printSets(std::span(groups).first(shown), options.terminator)) return 1;
    printSummary(groups, progress.furtherNames, query.tree.abandonedMatches());
    return 0;
}

}  // namespace dovra
