#pragma once

#include "Desktop/Model/LaunchOptions.hpp"

namespace dovra {

/// Runs the desktop application until it is quit, or hands the request to the one that runs already. Returns
/// the status of the process, and reports what went wrong on standard error.
int runDesktopApplication(const LaunchOptions& options);

}  // namespace dovra
