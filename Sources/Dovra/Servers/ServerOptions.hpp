#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Base/Options.hpp"
#include "Services/AppServices.hpp"

namespace dovra {

/// The options of every server: which index it serves.
struct ServerOptions {
    std::string root = "/";  ///< standardised; empty when the one given cannot be
    bool usesTrigram = false;
};

/// The rows that set these options. `options` outlives them.
std::vector<Option> serverOptionTable(ServerOptions& options);

/// The fault of the options as a message, if any. Warns on standard error when the root cannot be read yet:
/// that is no fault, because the folder may come.
std::optional<std::string> faultOf(const ServerOptions& options);

/// Messages go to standard error.
AppServices::Options serviceOptions(const ServerOptions& options);

}  // namespace dovra
