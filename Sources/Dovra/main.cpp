#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "Base/Print.hpp"
#include "CommandLine/CLI.hpp"
#include "Desktop/Model/DesktopCLI.hpp"
#include "Desktop/Model/LaunchOptions.hpp"
#include "Diagnostics/Benchmark.hpp"
#include "Diagnostics/SelfTest.hpp"
#include "Platform/Process.hpp"
#include "Platform/StandardStreams.hpp"
#include "Servers/Http/HttpCLI.hpp"
#include "Servers/Tools/MCPServer.hpp"

using namespace dovra;

namespace {

using Runner = int (*)(Arguments arguments);

int runBenchmark(Arguments arguments) {
    const bool namesRoot = !arguments.empty() && !arguments.front().starts_with("--");
    const Arguments options = arguments.subspan(namesRoot ? 1 : 0);
    const auto other =
        std::ranges::find_if(options, [](const std::string& word) { return word != "--trigram"; });
    if (other != options.end())
        return reportMisuse("--bench",
                            fmt::format("\"{}\" is neither --trigram nor a folder in front", *other));
    return Benchmark::run(namesRoot ? arguments.front() : "/", !options.empty());
}

/// The arguments are the folder (by default the current one) and the seed of the queries.
int runSelfTest(Arguments arguments) {
    const std::string path = arguments.empty() ? "." : arguments[0];
    if (arguments.size() > 2)
        return reportMisuse("--selftest", fmt::format("nothing is known to do with \"{}\"", arguments[2]));
    std::uint64_t seed = SelfTest::usualSeed;
    if (arguments.size() > 1) {
        const std::string& text = arguments[1];
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seed);
        if (error != std::errc{} || end != text.data() + text.size())
            return reportMisuse("--selftest", fmt::format("the seed is a number, not \"{}\"", text));
    }
    return SelfTest::run(path, seed);
}

/// A mode of the program.
struct Mode {
    std::string_view word;
    Runner run;
    std::string_view usage;
    std::string_view purpose;
    bool explainsItself = false;  ///< whether the runner answers "--help"
};

/// The first mode whose word is among the arguments runs, wherever the word stands.
constexpr std::array modes = {
    Mode{"--selftest", runSelfTest, "[folder] [seed]", "check the index and the search on a folder tree"},
    Mode{"--search", CLI::runSearch, "[options] <query>", "find files and folders", true},
    Mode{"--snapshot", DesktopCLI::runSnapshot, "[options] <file>", "draw the search panel to a picture",
         true},
    Mode{"--http", HttpCLI::run, "[options] [port]", "serve a search page", true},
    Mode{"--mcp", MCPCLI::run, "[options]", "serve tools to AI clients on standard input and output", true},
    Mode{"--bench", runBenchmark, "[folder] [--trigram]", "measure scan, memory and searches"},
    Mode{"--duplicates", CLI::runDuplicates, "[options] [query]", "list files with equal contents", true},
    Mode{"--du", CLI::runDiskUsage, "[folder] [options]", "list the largest folders", true},
    Mode{"--saved", CLI::runSaved, "[name]", "list, add, remove or run saved searches", true},
};

void printUsage(const Mode& mode) {
    const std::string call = fmt::format("{} {}", mode.word, mode.usage);
    printOutput("  dovra {:<32} {}\n", call, mode.purpose);
}

int printHelp() {
    LaunchOptions options;
    printOutput(
        "Dovra finds files and folders on this machine.\n\n  dovra [options]{:>21} the search panel\n", "");
    for (const Mode& mode : modes)
        printUsage(mode);
    printOutput(
        "\n  dovra --search --help explains the options and the query language.\n\nOptions of the panel:\n{}",
        optionsHelp(launchOptionTable(options)));
    return 0;
}

int printVersion() {
    printOutput("dovra {}\n", DOVRA_VERSION);
    return 0;
}

int runMode(const Mode& mode, Arguments behindWord) {
    if (behindWord.size() == 1 && behindWord.front() == "--version") return printVersion();
    if (asksForHelp(behindWord) && !mode.explainsItself) {
        printUsage(mode);
        return 0;
    }
    return mode.run(behindWord);
}

int dispatch(Arguments arguments) {
    if (!arguments.empty() && arguments.front() == "--help") return printHelp();
    if (!arguments.empty() && arguments.front() == "--version") return printVersion();
    // Behind "--" everything is a word of a query.
    const auto end = std::ranges::find(arguments, "--");
    for (const Mode& mode : modes) {
        const auto word = std::find(arguments.begin(), end, mode.word);
        if (word != end) return runMode(mode, {word + 1, arguments.end()});
    }
    return DesktopCLI::run(arguments);
}

/// The status; 1 instead of 0 when a part of the output was lost.
int reportLostOutput(int status) {
    const int error = outputError();
    if (error == 0) return status;
    // A closed pipe needs no message: its reader has left.
    if (error != EPIPE)
        printError("dovra: cannot write to standard output: {}\n", std::generic_category().message(error));
    return status == 0 ? 1 : status;
}

}  // namespace

int main(int argc, char** argv) {
    occupyStandardStreams();
    ignoreFileSizeSignal();
    raiseOpenFileLimit();
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    return reportLostOutput(dispatch(arguments));
}
