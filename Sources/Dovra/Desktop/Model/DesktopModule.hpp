#pragma once

#include "Desktop/Model/LaunchOptions.hpp"

namespace dovra {

/// What the module of the windows exports, under the name `dovraDesktopModule`. Each function returns the
/// status of the process, and is called at most once, on the main thread.
struct DesktopModule {
    static constexpr const char* fileName = "dovra_desktop.so";
    static constexpr const char* exportName = "dovraDesktopModule";

    /// Runs the desktop application, or hands the request to the one that runs already.
    int (*run)(const LaunchOptions& options);
    /// Draws the panel into a file.
    int (*drawSnapshot)(const SnapshotOptions& options);
};

}  // namespace dovra
