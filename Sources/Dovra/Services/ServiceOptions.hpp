#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Base/Options.hpp"
#include "Services/AppServices.hpp"

namespace dovra {

/// The options of every front end with a living index: which one.
struct ServiceOptions {
    std::string root = "/";  ///< standardised; empty when the one given cannot be
    bool usesTrigram = false;
};

/// The rows that set these options. `options` outlives them.
std::vector<Option> serviceOptionTable(ServiceOptions& options);

/// The fault of the options as a message, if any. Warns on standard error when the root cannot be read yet:
/// that is no fault, because the folder may come.
std::optional<std::string> faultOf(const ServiceOptions& options);

/// Messages go to standard error.
AppServices::Options serviceOptions(const ServiceOptions& options);

}  // namespace dovra
