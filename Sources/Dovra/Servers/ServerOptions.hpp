#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Base/Options.hpp"
#include "Services/AppServices.hpp"

namespace dovra {

/// What every server is told about the index that it serves.
struct ServerOptions {
    std::string root = "/";  ///< standardised; empty when the one given cannot be
    bool usesTrigram = false;
};

/// Rows for these options, which outlive them.
std::vector<Option> serverOptionTable(ServerOptions& options);

/// What is wrong with the options, for a person to read. Says on standard error when there is nothing at the
/// root to be served yet: that is no fault, it may come.
std::optional<std::string> faultOf(const ServerOptions& options);

/// Messages go to standard error.
AppServices::Options serviceOptions(const ServerOptions& options);

}  // namespace dovra
