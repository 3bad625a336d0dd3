#include "Servers/ServerOptions.hpp"

#include "Base/Print.hpp"
#include "Platform/OpenFolder.hpp"
#include "Platform/Paths.hpp"

namespace dovra {

std::vector<Option> serverOptionTable(ServerOptions& options) {
    return {
        {{"--in", "-i"},
         "folder",
         "serve what lies below this folder (default: /)",
         [&](const std::string& value) {
             options.root = standardizedPath(value).value_or("");
             return true;
         }},
        {{"--trigram"},
         {},
         "build a trigram index too: faster regular expressions for twice the memory",
         sets(options.usesTrigram, true)},
    };
}

std::optional<std::string> faultOf(const ServerOptions& options) {
    if (options.root.empty()) return "there is no such folder, or no current folder to look from";
    if (!OpenFolder::open(options.root))
        printError("dovra: {} is not a folder that can be read: there is nothing to find\n", options.root);
    return std::nullopt;
}

AppServices::Options serviceOptions(const ServerOptions& options) {
    AppServices::Options service;
    service.root = options.root;
    service.usesTrigram = options.usesTrigram;
    service.report = [](const std::string& message) { printError("dovra: {}\n", message); };
    return service;
}

}  // namespace dovra
