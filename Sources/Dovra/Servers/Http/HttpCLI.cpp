#include "Servers/Http/HttpCLI.hpp"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Base/Format.hpp"
#include "Base/Print.hpp"
#include "Base/Utf8.hpp"
#include "Platform/RandomToken.hpp"
#include "Platform/StandardStreams.hpp"
#include "Platform/TerminationHandler.hpp"
#include "Servers/Http/HttpRequestHandler.hpp"
#include "Servers/Http/HttpServer.hpp"
#include "Servers/ServerOptions.hpp"
#include "Stores/SavedSearchStore.hpp"

namespace dovra {

namespace {

using namespace std::chrono_literals;

struct HttpOptions {
    ServerOptions index;
    HttpServer::Address address;
    bool allowsDownload = false;
};

std::vector<Option> optionTable(HttpOptions& options) {
    std::vector<Option> table = serverOptionTable(options.index);
    table.push_back({{"--host"},
                     "address",
                     "listen there (default: 127.0.0.1, only for this machine); 0.0.0.0 means everywhere",
                     [&](const std::string& value) {
                         options.address.host = value;
                         return !value.empty();
                     }});
    table.push_back({{"--allow-download"},
                     {},
                     "let files be downloaded, not only found",
                     sets(options.allowsDownload, true)});
    table.push_back({{"--token"},
                     {},
                     "ask for a token, which is part of the address that is printed",
                     [&](const std::string&) {
                         options.address.token = randomToken();
                         return true;
                     }});
    return table;
}

/// A decimal number, with or without "+". 0 stands for any free port.
std::optional<std::uint16_t> parsePort(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return port;
}

/// What is wrong with the arguments beside the options, if anything.
std::optional<std::string> takePort(const std::vector<std::string>& words, std::uint16_t& port) {
    if (words.empty()) return std::nullopt;
    if (words.size() > 1) return fmt::format("nothing is known to do with \"{}\"", words[1]);
    const auto parsed = parsePort(words.front());
    if (parsed) port = *parsed;
    return parsed ? std::nullopt
                  : std::optional(fmt::format("\"{}\" is neither an option nor a port", words.front()));
}

int printHelp(std::span<const Option> table) {
    printOutput(
        "usage: dovra --http [options] [port]\n\n"
        "Serves pages to search with in a browser, and the same as JSON, until it is interrupted. The port "
        "is\n"
        "8080 by default, 0 takes any that is free.\n\n"
        "It shows the names, sizes and dates of your files. Nobody on another machine gets to see them "
        "unless\n"
        "--host says so, but other users of this one do: --token keeps them out.\n\n"
        "Options:\n{}",
        optionsHelp(table));
    return 0;
}

void printWarning(const HttpOptions& options) {
    const std::string& root = options.index.root;
    printError(
        "dovra: warning: whoever reaches this port over the network{} sees the names, sizes and dates of "
        "all files below {}{}; nothing of it is encrypted\n",
        options.address.token.empty() ? "" : " and knows the token", visibleText(root),
        options.allowsDownload ? ", and may read them" : "");
}

void printAddress(const HttpServer& server) {
    const TerminalStyle style(StandardStream::error);
    printError("{} {}  {}\n", style.bold(style.accent("Dovra")), style.dim("web UI"), server.pageAddress());
}

void printStatus(const IndexService& service, bool allowsDownload) {
    printError("{} items indexed · downloads {}\n", groupedNumber(service.index().itemCount()),
               allowsDownload ? "enabled" : "disabled");
}

/// Brings every earlier change into the index. During a scan the index stays as far as the scan is.
void refresh(IndexService& service) {
    if (service.waitUntilReady(0ms)) (void)service.flush(2s);  // What is not in time is not in the answer.
}

/// Read anew each time: another process may have added some.
std::vector<SavedSearch> savedSearches() {
    return SavedSearchStore(SavedSearchStore::defaultURL()).items();
}

int serve(const HttpOptions& options) {
    printError("Indexing {}\n", visibleText(options.index.root));
    const auto services = AppServices::make(serviceOptions(options.index));
    const HttpRequestHandler handler(
        *services, {.allowsDownload = options.allowsDownload, .savedSearches = savedSearches});
    HttpServer server(options.address,
                      {.refresh = [&] { refresh(*services); },
                       .isSlow = [&](const HttpRequest& request) { return handler.isSlow(request); },
                       .handle = [&](const HttpRequest& request,
                                     const std::stop_token& stop) { return handler.handle(request, stop); },
                       .report = [](const std::string& message) { printError("dovra: {}\n", message); }},
                      {});
    if (const auto error = server.start()) {
        printError("Failed to start HTTP server on {}:{}: {}\n", visibleText(options.address.host),
                   options.address.port, *error);
        return 1;
    }
    const TerminationHandler termination([&] {
        server.stop();
        services->close();
    });
    if (!server.isLoopback()) printWarning(options);
    printAddress(server);
    services->start([service = services.get(), allowsDownload = options.allowsDownload] {
        printStatus(*service, allowsDownload);
    });
    server.run();
    // Only a signal ends it, and its handler has yet to end.
    return 0;
}

}  // namespace

int HttpCLI::run(Arguments args) {
    HttpOptions options;
    const std::vector<Option> table = optionTable(options);
    if (asksForHelp(args)) return printHelp(table);
    const ParsedArguments parsed = parseOptions(args, table);
    if (parsed.fault) return reportMisuse("--http", *parsed.fault);
    if (const auto fault = takePort(parsed.others, options.address.port))
        return reportMisuse("--http", *fault);
    if (const auto fault = faultOf(options.index)) return reportMisuse("--http", *fault);
    ignoreClosedPipes();
    return serve(options);
}

}  // namespace dovra
