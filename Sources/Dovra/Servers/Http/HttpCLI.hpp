#pragma once

#include "Base/Options.hpp"

namespace dovra {

/// The mode "--http".
struct HttpCLI {
    /// Serves the web pages and their JSON form until a signal ends the process. 1 when the port is not
    /// available, 2 for wrong usage.
    static int run(Arguments args);
};

}  // namespace dovra
