#include "CommandLine/SearchCommand.hpp"

#include <algorithm>
#include <array>
#include <memory>

#include "Base/Print.hpp"
#include "Base/TextNeedle.hpp"
#include "CommandLine/CLI.hpp"
#include "CommandLine/Output.hpp"
#include "CommandLine/ScanFolder.hpp"
#include "Platform/Paths.hpp"
#include "Platform/StandardStreams.hpp"
#include "Query/QueryKeys.hpp"
#include "Query/QueryNeeds.hpp"
#include "Query/SearchEngine.hpp"

namespace dovra {

std::vector<Option> searchOptionTable(SearchOptions& options) {
    return {
        {{"--in", "-i"},
         "folder",
         "search below this folder (default: /)",
         [&](const std::string& value) {
             options.root = standardizedPath(value);
             return true;
         }},
        {{"--limit", "-n"},
         "number",
         "print at most this many paths; 0 prints all (default: 100)",
         reads(options.limit, parseLimit)},
        {{"--sort", "-s"},
         "key",
         "name, path, size, date or relevance (default: name)",
         reads(options.sort.key, parseSortKey)},
        {{"--desc", "-d"}, {}, "reverse the order", sets(options.sort.ascending, false)},
        {{"--asc"}, {}, "do not reverse it (default)", sets(options.sort.ascending, true)},
        {{"--trigram"}, {}, "build a trigram index first (for measuring)", sets(options.usesTrigram, true)},
        {{"--print0", "-0"},
         {},
         "end each path with a NUL byte instead of a line feed",
         sets(options.terminator, PathTerminator::nul)},
    };
}

namespace {

constexpr std::string_view searchUsage = R"(usage: dovra --search [options] [--] <query>

Prints one full path a line, then the number of matches on standard error. Put the query in single quotes:
characters such as < > | ! * ? ; mean something to the shell.

Options:
)";

int printSearchHelp(std::span<const Option> table) {
    printOutput("{}{}\n{}", searchUsage, optionsHelp(table), queryLanguageHelp());
    return 0;
}

}  // namespace

std::optional<SortSpec::Key> parseSortKey(std::string_view word) {
    struct SortWord {
        std::string_view word;
        SortSpec::Key key;
    };
    constexpr std::array words = {
        SortWord{"name", SortSpec::Key::name},           SortWord{"path", SortSpec::Key::path},
        SortWord{"size", SortSpec::Key::size},           SortWord{"date", SortSpec::Key::modified},
        SortWord{"modified", SortSpec::Key::modified},   SortWord{"dm", SortSpec::Key::modified},
        SortWord{"relevance", SortSpec::Key::relevance}, SortWord{"score", SortSpec::Key::relevance},
        SortWord{"rank", SortSpec::Key::relevance},
    };
    const auto found = std::ranges::find(words, std::string_view(lowercased(word)), &SortWord::word);
    return found == words.end() ? std::nullopt : std::optional(found->key);
}

int CLI::runSearch(Arguments args) {
    SearchOptions options;
    const std::vector<Option> table = searchOptionTable(options);
    if (asksForHelp(args)) return printSearchHelp(table);
    return printSearch(joinedWords(parseOptions(args, table).others), options);
}

int printSearch(std::string_view text, const SearchOptions& options) {
    const CompiledQuery query = QueryParser::parse(text);
    const QueryNeeds needs = queryNeeds(query, options.sort);
    FileIndex index;
    if (options.usesTrigram) index.attachTrigramIndex(std::make_shared<TrigramIndex>());
    if (!scanFolder(index, options.root, {.detail = needs.detail, .needsAttributes = needs.needsAttributes}))
        return 1;
    PathOutput output(options.terminator);
    const SearchCounts found = searchPaths(index, query, options.sort, options.limit,
                                           [&](std::string_view path) { output.writePath(path); });
    if (!output.finish()) return 1;
    printError("{} result(s)\n", TerminalStyle(StandardStream::error).bold(std::to_string(found.total)));
    if (found.abandoned > 0) printError("{}\n", abandonedNote(found.abandoned));
    return 0;
}

}  // namespace dovra
