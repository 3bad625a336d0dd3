#include <algorithm>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Print.hpp"
#include "Base/Utf8.hpp"
#include "CommandLine/CLI.hpp"
#include "CommandLine/Output.hpp"
#include "CommandLine/SearchCommand.hpp"
#include "Platform/StandardStreams.hpp"
#include "Stores/SavedSearchStore.hpp"

namespace dovra {

namespace {

constexpr int notDone = 1;
constexpr int wrongUsage = 2;

constexpr std::string_view addUsage = "usage: --saved --add <name> <query>\n";
constexpr std::string_view removeUsage = "usage: --saved --remove <name>\n";
constexpr std::string_view runUsage = "usage: --saved <name> [options] [words]\n";

int reportUsage(std::string_view usage) {
    printError("{}", usage);
    return wrongUsage;
}

int reportFailure(std::string_view message) {
    printError("dovra: {}\n", message);
    return notDone;
}

int reportUnknown(std::string_view name) {
    const bool isForPerson = isTerminal(StandardStream::error);
    printError("No saved search named \"{}\"\n", isForPerson ? visibleText(name) : std::string(name));
    return notDone;
}

int printHelp() {
    SearchOptions options;
    printOutput(
        "usage: dovra --saved                           list the saved searches\n"
        "       dovra --saved --add <name> <query>      save a query, in place of one of that name (or -a)\n"
        "       dovra --saved --remove <name>           remove it (or -r)\n"
        "       dovra --saved <name> [options] [words]  search, with more words to narrow it\n"
        "\n"
        "Behind -- every argument is a name or a word of the query, as in: --saved -- --add\n"
        "\n"
        "Options of a search:\n{}\n"
        "dovra --search --help explains the query language.\n",
        optionsHelp(searchOptionTable(options)));
    return 0;
}

/// Damage is reported, and is no failure: the store goes on without the unreadable parts.
SavedSearchStore openStore() {
    SavedSearchStore store(SavedSearchStore::defaultURL());
    if (store.loadError()) (void)reportFailure(store.loadError()->message);
    return store;
}

int printLines(const std::vector<std::string>& lines) {
    PathOutput output(PathTerminator::newline);
    for (const std::string& line : lines)
        output.writePath(line);
    return output.finish() ? 0 : notDone;
}

/// Saves at once, because the process is about to end, and then confirms.
int saveAndSay(SavedSearchStore& store, std::string_view done, std::string_view name) {
    if (!store.hasFile()) return reportFailure("there is no folder to keep saved searches in");
    if (const auto error = store.flush()) return reportFailure(error->message);
    return printLines({fmt::format("{} \"{}\"", done, name)});
}

int list() {
    const std::vector<SavedSearch> items = openStore().items();
    if (items.empty()) return printLines({"No saved searches"});
    const bool isForPerson = isTerminal(StandardStream::output);
    const auto shown = [&](const std::string& text) { return isForPerson ? visibleText(text) : text; };
    std::size_t widest = 0;
    for (const auto& [name, query] : items)
        widest = std::max(widest, displayColumns(shown(name)));
    std::vector<std::string> lines;
    for (const auto& [name, query] : items) {
        const std::string padding(widest - displayColumns(shown(name)), ' ');
        lines.push_back(fmt::format("{}{}  {}", shown(name), padding, shown(query)));
    }
    return printLines(lines);
}

int add(Arguments args) {
    const std::vector<std::string> words = parseOptions(args, {}).others;
    if (words.size() < 2) return reportUsage(addUsage);
    const std::string_view name = trimmedWhiteSpace(words.front());
    const std::string query = joinedWords(std::span(words).subspan(1));
    if (name.empty() || query.empty()) return reportUsage(addUsage);
    SavedSearchStore store = openStore();
    store.save(name, query);
    return saveAndSay(store, "Saved", name);
}

int remove(Arguments args) {
    const std::vector<std::string> words = parseOptions(args, {}).others;
    if (words.size() != 1) return reportUsage(removeUsage);
    const std::string_view name = trimmedWhiteSpace(words.front());
    SavedSearchStore store = openStore();
    if (!store.remove(name)) return reportUnknown(words.front());
    return saveAndSay(store, "Removed", name);
}

int run(Arguments args) {
    SearchOptions options;
    const ParsedArguments parsed = parseOptions(args, searchOptionTable(options));
    if (parsed.fault) return reportMisuse("--saved", *parsed.fault);
    if (parsed.others.empty()) return reportUsage(runUsage);
    if (parsed.unknownOption && *parsed.unknownOption != parsed.others.front())
        return reportMisuse("--saved", noSuchOption(*parsed.unknownOption));
    const auto saved = openStore().query(trimmedWhiteSpace(parsed.others.front()));
    if (!saved) return reportUnknown(parsed.others.front());
    std::vector<std::string> query = parsed.others;
    query.front() = *saved;
    return printSearch(joinedWords(query), options);
}

}  // namespace

int CLI::runSaved(Arguments args) {
    if (args.empty()) return list();
    if (asksForHelp(args)) return printHelp();
    const std::string_view form = args.front();
    if (form == "--add" || form == "-a") return add(args.subspan(1));
    if (form == "--remove" || form == "-r") return remove(args.subspan(1));
    return run(args);
}

}  // namespace dovra
