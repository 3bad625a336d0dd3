#pragma once

#include "Base/Options.hpp"

namespace dovra {

/// The modes with windows: they read their arguments and open the module that holds the windows. Without that
/// module, or a library that it needs, they say what to install.
struct DesktopCLI {
    /// The desktop application, which is the program started with no mode word.
    static int run(Arguments args);

    static int runSnapshot(Arguments args);
};

}  // namespace dovra
